// The connection check says whether a broker can be reached, and its log says why it cannot.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "helpers/certificates.hpp"
#include "helpers/loopback_port.hpp"
#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;

mosquitto_options guarded() {
  const auto& all = certificates::get();
  mosquitto_options options;
  options.allow_anonymous = false;
  options.users = {{"probe", "right"}};
  options.tls = mosquitto_tls{all.server.file, all.server.key_file};
  return options;
}

TEST(connection_check, is_true_or_says_why_not_in_time) {
  const auto& all = certificates::get();
  mosquitto_broker broker(guarded());
  mosquitto_broker stopped;
  stopped.pause();
  const auto at = [](std::uint16_t port) { return host_settings::connect_check(port); };
  // The time-out is 2 s; a broker that accepts and says nothing is asked twice.
  struct {
    host_settings settings;
    bool success;
    const char* log;
    std::chrono::seconds longest = 2s;
  } cases[] = {
      {at(broker.port()).user("probe", "right"), true, "End time tracking after "},
      {at(broker.tls_port()).user("probe", "right").tls(all.authority.pem), true, "Connected to: "},
      {at(broker.port()).user("probe", "hunter2"), false, "Check your credentials for MQTT."},
      {at(broker.port()), false, "Check your credentials for MQTT."},
      {at(broker.tls_port()).tls(all.other_authority.pem), false, "certificate verify failed"},
      {at(free_loopback_port()), false, "TCP/TLS connect failure"},
      {at(stopped.port()), false, "TCP connect timeout", 5s},
      {at(1883).set("host", "no.such.host.invalid"), false,
       "The host name 'no.such.host.invalid' could not be resolved to an IPv4 address: "},
      {at(broker.port()).user("probe", "right").set("ipversion", "IPv6"), false,
       "The host '127.0.0.1' is not an IPv6 address"},
      {at(broker.tls_port())
           .user("probe", "right")
           .tls(all.authority.pem)
           .set("ipversion", "IPv6")
           .set("host", "localhost"),
       false, "The host name 'localhost' has an IPv4 address, which would be used with TLS"},
  };
  module_host host;
  for (auto& each : cases) {
    host.inbox().clear();
    each.settings.set("timeout", "2").set("logging", "enabled");
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(host.check_succeeds(3, each.settings), each.success) << each.log;
    EXPECT_LT(std::chrono::steady_clock::now() - began, each.longest + 1s) << each.log;
    EXPECT_TRUE(host.inbox().logged(each.log)) << each.log;
    EXPECT_FALSE(host.inbox().contains("hunter2"));
  }
}

}  // namespace
}  // namespace kavu_test
