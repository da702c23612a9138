#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "probe/channel_settings.hpp"
#include "probe/connection_settings.hpp"
#include "probe/failure.hpp"
#include "probe/ip_version.hpp"
#include "probe/settings_builder.hpp"
#include "probe/test_document.hpp"

namespace kavu_probe {
namespace {

using ::testing::Contains;
using ::testing::IsSupersetOf;
using ::testing::Key;
using ::testing::Pair;

using plain_map = std::map<std::string, std::string>;

class settings_test : public ::testing::Test {
 protected:
  void fill() {
    kavu::wire::SensorData request;
    builder_.fill(request);
    for (const auto& item : request.settings()) {
      plain_[item.key()] = item.value();
    }
    for (const auto& item : request.secure_settings()) {
      secure_[item.key()] = item.value();
    }
  }

  const definition module_ = read_definition(kavu_test::test_document);
  settings_builder builder_{module_, {"access", "tank"}, -7};
  plain_map plain_;
  plain_map secure_;
};

TEST_F(settings_test, every_setting_is_sent_with_its_default) {
  fill();
  EXPECT_EQ(plain_.size(), 12U);
  EXPECT_THAT(plain_, IsSupersetOf(plain_map{{"access.connection.port", "1883"},
                                             {"tank.tank.channel2", "disable"},
                                             {"tank.tank.channel2_jsonpath", ""},
                                             {"tank.tank.topic", ""},
                                             {"tank.tank.client_id", "T_-7"}}));
  EXPECT_EQ(secure_, (plain_map{{"access.user_credentials.password", ""}}));
}

TEST_F(settings_test, connection_and_common_values_find_their_places) {
  connection_options options;
  options.host = "::1";
  options.port = 8883;
  options.user = "u";
  connection_credentials credentials;
  credentials.password = secret("p\"w");
  set_connection(builder_, options, credentials);
  add_common_settings(builder_, options, false, std::chrono::milliseconds(1200));
  fill();
  EXPECT_THAT(plain_, IsSupersetOf(plain_map{{"access.connection.port", "8883"},
                                             {"access.user_credentials.active", "yes"},
                                             {"access.user_credentials.user", "u"},
                                             {"access.tls.active", "no"},
                                             {"host", "[::1]"},
                                             {"ipversion", "IPv6"},
                                             {"logging", "disabled"},
                                             {"timeout", "10"},
                                             {"interval", "2"}}));
  EXPECT_THAT(secure_, Contains(Pair("access.user_credentials.password", "p\"w")));
  EXPECT_THAT(secure_, Contains(Key("brunvikcloudapikey")));
  EXPECT_THAT(plain_, ::testing::Not(Contains(Key("brunvikcloudapikey"))));
}

TEST_F(settings_test, values_are_held_against_type_and_limits) {
  const std::pair<const char*, const char*> wrong[] = {
      {"port", "0"},           {"port", "65536"},
      {"port", "1883x"},       {"port", "99999999999999999999"},
      {"channel2", "enabled"}, {"factor", "10.5"},
      {"factor", "nan"},       {"factor", "1,5"},
      {"nothing", "x"},        {"topic", "twenty-five characters ..."},
      {"active", "yes"}};  // in two groups
  for (const auto& [name, value] : wrong) {
    EXPECT_THROW(builder_.set(name, value), usage_error) << name << "=" << value;
  }
  // The limit counts characters, not bytes.
  builder_.set("topic", "ÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄÄ");
  builder_.set("tls.active", "yes");
  builder_.set("factor", "-1e3");
}

TEST_F(settings_test, required_ones_must_be_filled_while_they_matter) {
  EXPECT_THROW(builder_.check(), usage_error);  // topic
  builder_.set("topic", "t");
  builder_.check();
  builder_.set("channel2", "enable");
  EXPECT_THROW(builder_.check(), usage_error);  // channel2_jsonpath
  builder_.set("channel2_jsonpath", "$.x");
  builder_.check();
}

TEST_F(settings_test, channels_are_numbered_and_switched_on) {
  set_channels(builder_, {{"a", "$.a", {}, {}, {}}, {"b", "$.b", {}, {}, {}}});
  fill();
  EXPECT_THAT(plain_, IsSupersetOf(plain_map{{"tank.tank.channel1_name", "a"},
                                             {"tank.tank.channel2", "enable"},
                                             {"tank.tank.channel2_jsonpath", "$.b"}}));
  const channel_option third{"c", "$.c", {}, {}, {}};
  EXPECT_THROW(set_channels(builder_, {third, third, third}), usage_error);
}

TEST(host_address, brackets_ipv6_literals_once) {
  const std::tuple<const char*, const char*, ip_version> cases[] = {
      {"::1", "[::1]", ip_version::ipv6},
      {"[::1]", "[::1]", ip_version::ipv6},
      {"fe80::1%eth0", "[fe80::1%eth0]", ip_version::ipv6},
      {"127.0.0.1", "127.0.0.1", ip_version::ipv4},
      {"broker.local", "broker.local", ip_version::automatic},
      {"a:b", "a:b", ip_version::automatic},
      {"[", "[", ip_version::automatic},
  };
  for (const auto& [host, text, version] : cases) {
    EXPECT_EQ(make_host_address(host).text, text);
    EXPECT_EQ(make_host_address(host).version, version) << host;
  }
}

TEST(ip_version, of_a_name_is_the_first_that_it_has) {
  addrinfo ipv4{};
  ipv4.ai_family = AF_INET;
  addrinfo ipv6{};
  ipv6.ai_family = AF_INET6;
  EXPECT_EQ(choose_version(&ipv6), ip_version::ipv6);
  ipv6.ai_next = &ipv4;
  EXPECT_EQ(choose_version(&ipv6), ip_version::ipv4) << "the system prefers the other";
  EXPECT_EQ(choose_version(nullptr), ip_version::automatic);
  const std::tuple<const char*, ip_version, ip_version> cases[] = {
      {"localhost", ip_version::automatic, ip_version::ipv4},
      {"localhost", ip_version::ipv6, ip_version::ipv6},
      {"nowhere.invalid", ip_version::automatic, ip_version::ipv4},
      {"::1", ip_version::automatic, ip_version::automatic},
  };
  for (const auto& [host, asked, version] : cases) {
    connection_options options;
    options.host = host;
    options.ip = asked;
    options.timeout_s = 1;
    EXPECT_EQ(resolve_version(options, {}), version) << host;
  }
  std::stop_source stop;
  stop.request_stop();
  connection_options options;
  options.host = "nowhere.invalid";
  EXPECT_THROW(resolve_version(options, stop.get_token()), stopped);
}

TEST(definition, says_where_it_is_damaged) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "not JSON"},
      {"[]", "it is not an object"},
      {R"({"Sensors":{},"Sections":{},"Groups":{"g":{"Items":[{"Setting":{"Name":5}}]}}})",
       "Groups.g.Items[0].Setting.Name is not a text"},
      {R"({"Sensors":{},"Sections":{},"Groups":{"g":{"Items":[{"Setting":{"Name":"n"}}]}}})",
       "Groups.g.Items[0].Setting has no type"},
  };
  for (const auto& [document, expected] : cases) {
    try {
      read_definition(document);
      ADD_FAILURE() << document;
    } catch (const probe_error& failure) {
      EXPECT_THAT(failure.what(), ::testing::HasSubstr(expected));
    }
  }
}

}  // namespace
}  // namespace kavu_probe
