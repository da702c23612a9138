// Settings as a key, failures from codes, what a packet can carry, certificates as files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "liblog/memory_logger.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/failure_mapping.hpp"
#include "mqtt/mqtt_client_settings.hpp"
#include "mqtt/name_lookup.hpp"
#include "mqtt/pem_file.hpp"
#include "mqtt/transportable.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using namespace std::chrono_literals;
using libkavuhelper::settings::secure_string;

const std::hash<mqtt_client_settings> hash;

TEST(mqtt_client_settings, every_field_of_the_key_tells_connections_apart) {
  const std::function<void(mqtt_client_settings&)> changes[] = {
      [](auto& s) { s.host = "h"; },
      [](auto& s) { s.port = 1883; },
      [](auto& s) { s.client_id = "c"; },
      [](auto& s) { s.client_id_suffix_length = 0; },
      [](auto& s) { s.user_name = "u"; },
      [](auto& s) { s.password = secure_string("p"); },
      [](auto& s) { s.keep_alive = 1; },
      [](auto& s) { s.clean_session = false; },
      [](auto& s) { s.automatic_reconnect = false; },
      [](auto& s) { s.tls.mode = tls_settings::tls_mode::on; },
      [](auto& s) { s.tls.ca_certificate = "a"; },
      [](auto& s) { s.tls.client_certificate = "b"; },
      [](auto& s) { s.tls.client_key = "k"; },
      [](auto& s) { s.tls.client_key_password = secure_string("w"); },
  };
  const mqtt_client_settings defaults;
  for (std::size_t number = 0; number < std::size(changes); ++number) {
    SCOPED_TRACE(number);
    mqtt_client_settings changed;
    changes[number](changed);
    EXPECT_FALSE(changed == defaults);
    EXPECT_NE(hash(changed), hash(defaults));
    auto same = changed;  // time-out and log do not tell connections apart
    same.connect_timeout = 99;
    same.logger = std::make_shared<liblog::memory_logger>();
    EXPECT_TRUE(changed == same);
    EXPECT_EQ(hash(changed), hash(same));
    same.family = address_family::ipv6;  // which only equality sees
    EXPECT_FALSE(changed == same);
    EXPECT_EQ(hash(changed), hash(same));
  }
}

std::string key_of(int code, const char* text) {
  try {
    std::rethrow_exception(make_exception_from_code(code, text));
  } catch (const exceptions::client_failure& failure) {
    return failure.message().key();
  }
}

TEST(failure_mapping, each_code_has_its_own_failure) {
  struct {
    int code;
    const char* text;
    const char* key;
  } const cases[] = {
      {-11, nullptr, "error.mqttasync_operation_incomplete"},
      {-3, "socket error", "error.mqttasync_disconnected"},
      {4, "", "error.bad_username_or_password"},
      {5, "", "error.not_authorized"},
      {-1, "socket error", "error.tcp_tls_connect_failure"},
      {-1, "TCP connect completion failure", "error.tcp_tls_connect_failure"},
      {0, "TCP connect timeout", "error.tcp_connection_timeout"},
      {-1, "Socket error", "#:libi18n.error.generic[Socket error]"},
      {-18, "x", "#:libi18n.error.generic[x]"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(key_of(each.code, each.text), each.key) << each.code;
  }
}

TEST(transportable, rejects_what_would_cost_the_shared_connection) {
  const std::string longest(65'535, 'x');
  for (const std::string& topic :
       {std::string("a b/\xc3\xa4/\xe2\x82\xac/\xf0\x9f\x98\x80"), longest}) {
    EXPECT_NO_THROW(require_transportable_topic(topic)) << topic.substr(0, 20);
  }
  for (const std::string& topic :
       {std::string(), longest + "x", std::string("a\0b", 3), std::string("\xff"),
        std::string("\xc3"), std::string("\xc0\x80"), std::string("\xed\xa0\x80"),
        std::string("\xf4\x90\x80\x80"), std::string("a\x01"), std::string("\xc2\x80"),
        std::string("\xef\xbf\xbf"), std::string("\xe0\x80\x80")}) {
    EXPECT_THROW(require_transportable_topic(topic), exceptions::invalid_topic);
    EXPECT_THROW(require_transportable_filter(topic), exceptions::invalid_topic);
  }
  for (const char* wildcard : {"a/+", "#"}) {
    EXPECT_NO_THROW(require_transportable_filter(wildcard));
    EXPECT_THROW(require_transportable_topic(wildcard), exceptions::invalid_topic);
  }
  std::string payload(268'435'455 - 4 - 1, 'x');
  EXPECT_NO_THROW(require_transportable_payload("t", payload));
  payload += 'x';
  EXPECT_THROW(require_transportable_payload("t", payload), exceptions::message_too_long);
}

std::string content_of(const char* name) {
  std::ifstream file(name);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

TEST(pem_file, text_is_readable_under_a_name_that_ends_with_it) {
  const std::string pem = "-----BEGIN CERTIFICATE-----\n" + std::string(100'000, 'A');
  std::string name;
  {
    const pem_file file(pem);
    ASSERT_NE(file.name(), nullptr);
    name = file.name();
    EXPECT_EQ(content_of(name.c_str()), pem);
    EXPECT_EQ(content_of(name.c_str()), pem);  // every connection attempt reads it again
    const auto target = std::filesystem::read_symlink(name).string();
    EXPECT_TRUE(target.starts_with("/memfd:")) << target;
  }
  EXPECT_NE(content_of(name.c_str()), pem);
  EXPECT_STREQ(pem_file("/etc/ssl/ca.pem").name(), "/etc/ssl/ca.pem");
  EXPECT_EQ(pem_file("").name(), nullptr);
}

/// The addresses with a blank between them, or why there is none.
std::string look_up(const std::string& host, address_family family,
                    std::chrono::seconds limit = 5s) try {
  std::string text;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (const auto& address : look_up_name(host, family, deadline, [] { return false; })) {
    text += text.empty() ? address : " " + address;
  }
  return text;
} catch (const exceptions::client_failure& failure) {
  return failure.what();
}

TEST(name_lookup, addresses_stand_for_themselves_and_names_for_theirs) {
  const auto any = address_family::any;
  const auto ipv4 = address_family::ipv4;
  const auto ipv6 = address_family::ipv6;
  struct {
    std::string host;
    address_family family;
    const char* found;
  } const cases[] = {
      {"127.0.0.1", any, "127.0.0.1"},
      {"127.0.0.1", ipv4, "127.0.0.1"},
      {"127.0.0.1", ipv6, "The host '127.0.0.1' is not an IPv6 address"},
      {"[127.0.0.1]", ipv6, "The host '[127.0.0.1]' is not an IPv6 address"},
      {"127.1", ipv4, "127.0.0.1"},  // as the C library reads it
      {"[::1]", any, "::1"},
      {"::1", ipv6, "::1"},
      {"[::1]", ipv4, "The host '[::1]' is not an IPv4 address"},
      {"fe80::1%lo", ipv6, "fe80::1%lo"},
      {"fe80::1%lo", ipv4, "The host 'fe80::1%lo' is not an IPv4 address"},
      {"localhost", any, "127.0.0.1 ::1"},
      {"localhost", ipv4, "127.0.0.1"},
      {"localhost", ipv6, "::1"},
      {"", ipv4, "The host name '' could not be resolved to an IPv4 address: "},
      {std::string("local\0host", 10), any, "The host name 'local"},
  };
  for (const auto& each : cases) {
    EXPECT_THAT(look_up(each.host, each.family), testing::HasSubstr(each.found)) << each.host;
  }
}

// Whoever answers here, and whether anybody does, depends on the machine; the name is in the words.
TEST(name_lookup, an_unknown_name_is_named_within_the_limit) {
  const auto began = std::chrono::steady_clock::now();
  EXPECT_THAT(look_up("no-such-host.invalid", address_family::any, 1s),
              testing::HasSubstr("The host name 'no-such-host.invalid' could not be resolved: "));
  EXPECT_LT(std::chrono::steady_clock::now() - began, 3s);
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
