// Statistics sensors at a real broker.

#include <gmock/gmock.h>

#include "helpers/mosquitto_broker.hpp"
#include "system/module_fixture.hpp"

namespace kavu_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct broker_of_its_own {
  mosquitto_broker broker;
};

class statistics_test : protected broker_of_its_own, public module_fixture {
 protected:
  statistics_test() : module_fixture(broker.port()) {}

  void expect_connection_lost(std::int32_t id) {
    const auto result = host.scan_result(id);
    EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_ERROR);
    EXPECT_EQ(result.message().key(), "error.connection_lost");
    EXPECT_TRUE(result.values().empty());
  }
  /// Waits until scans of the sensor tell how it is, for better or worse.
  bool wait_for_response(std::int32_t id, kavu::wire::ResponseCode code) {
    return eventually([&] { return host.scan_result(id).response_code() == code; });
  }
};

TEST_F(statistics_test, sensors_of_equal_settings_share_one_connection) {
  create(1, "plant/#");
  create(2, "plant/+/t");
  create(3, "plant/+/t");
  create_witness();
  EXPECT_EQ(broker.connections_accepted("TRAVO_"), 1U);
  outside.publish("plant/a/t", "123");
  outside.publish("plant/b", "4567");
  settle();
  EXPECT_EQ(scan(1), (counts{2, 7, 2}));
  EXPECT_EQ(scan(2), (counts{1, 3, 1}));
  EXPECT_EQ(host.destroy_sensor(1), KAVU_OK);
  EXPECT_EQ(host.destroy_sensor(3), KAVU_OK);
  outside.publish("plant/a/t", "12");
  settle();
  EXPECT_EQ(scan(2), (counts{1, 2, 1}));
  EXPECT_EQ(broker.connections_accepted("TRAVO_"), 1U);
  // Other credentials, another connection.
  ASSERT_EQ(
      host.create_sensor(4, host_settings::statistics_sensor(broker.port(), "#").user("anna", "p")),
      KAVU_OK);
  EXPECT_TRUE(broker.wait_for_clients(2, "TRAVO_"));
  EXPECT_EQ(host.cleanup(), KAVU_OK);
  EXPECT_TRUE(broker.wait_for_clients(0, "TRAVO_"));
}

TEST_F(statistics_test, a_retained_message_of_a_quiet_topic_is_counted) {
  outside.publish("quiet/valve", "open", 1, /*retain=*/true);
  create(1, "quiet/#");
  create_witness();
  settle();
  EXPECT_EQ(scan(1), (counts{1, 4, 1}));
}

TEST_F(statistics_test, whatever_a_broker_delivers_is_counted_exactly_and_then_nothing) {
  const std::string longest = "t/" + std::string(65'533, 'x');
  const std::string odd =
      "t/(a*)*[^$\\|. \xc3\xbc\xe6\xbc\xa2";  // no wildcard covers such characters
  create(1, "t/#");
  create(2, longest);
  create(3, odd);
  create_witness();
  outside.publish_many({{longest, "1"},
                        {longest, "2", 2},
                        {"t/" + std::string(60'000, 'y'), std::string("\0\xff\0", 3), 0},
                        {"t/deep" + std::string(190, '/'), std::string(1'000'000, '\0')},
                        {"t/empty", ""},
                        {odd, "12345"},
                        {"t", "neither is the parent level"},
                        {"tt/x", "nor what only begins alike"}});
  settle();
  EXPECT_EQ(scan(1), (counts{5, 1 + 1 + 3 + 1'000'000, 4}));
  EXPECT_EQ(scan(2), (counts{2, 2, 1}));
  EXPECT_EQ(scan(3), (counts{1, 5, 1}));
  for (const std::int32_t id : {1, 2, 3}) {
    EXPECT_EQ(scan(id), (counts{0, 0, 0}));
  }
}

TEST_F(statistics_test, more_topics_than_can_be_told_apart_are_not_passed_off_as_a_number) {
  create(1, "t/#");
  create_witness();
  constexpr int count = 260;  // times the longest topic is more than the 16 MiB that are kept
  std::vector<outgoing_message> messages;
  for (int number = 0; number < count; ++number) {
    std::string topic = "t/" + std::to_string(number) + "/";
    topic.append(65'535 - topic.size(), 'x');
    messages.push_back({std::move(topic), "12"});
  }
  outside.publish_many(messages);
  settle();
  const auto result = host.scan_result(1);
  EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_WARNING);
  EXPECT_THAT(result.message().text(), HasSubstr("more active topics than can be counted"));
  EXPECT_EQ(integer_value(result, 0), count);
  EXPECT_EQ(integer_value(result, 1), 2 * count);
  EXPECT_EQ(integer_value(result, 2), std::nullopt);
  outside.publish("t/x", "1");
  settle();
  EXPECT_EQ(scan(1), (counts{1, 1, 1}));
}

TEST_F(statistics_test, counting_goes_on_after_the_broker_has_restarted) {
  create(1, "a/#");
  create(2, "b/+");
  create_witness();
  outside.publish("a/x", "123");
  settle();
  broker.kill();
  EXPECT_TRUE(wait_for_response(2, kavu::wire::RESPONSE_CODE_ERROR));
  expect_connection_lost(1);
  expect_connection_lost(2);
  broker.restart();
  EXPECT_TRUE(broker.wait_for_subscription("a/#"));
  EXPECT_TRUE(broker.wait_for_subscription("b/+"));
  EXPECT_TRUE(wait_for_response(2, kavu::wire::RESPONSE_CODE_OK));
  ASSERT_TRUE(outside.wait_until_connected());
  outside.publish("a/y", "4567");
  outside.publish("b/z", "1");
  settle();
  // What came before the loss has not been forgotten, and that there was one is told.
  const auto result = host.scan_result(1);
  EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_WARNING);
  EXPECT_EQ(integer_value(result, 0), 2);
  EXPECT_EQ(integer_value(result, 1), 7);
  EXPECT_EQ(scan(2), (counts{1, 1, 1}));
  EXPECT_EQ(broker.connected_clients().size(), 2U);
}

// A loss is told by the next scan that finds messages flowing: it may have made the counts small.
TEST_F(statistics_test, counts_of_an_interval_with_a_gap_are_not_passed_off_as_complete) {
  create(1, "a/#");
  create(2, "a/#");
  create_witness();
  broker.kill();
  EXPECT_TRUE(wait_for_response(2, kavu::wire::RESPONSE_CODE_ERROR));
  broker.restart();
  EXPECT_TRUE(wait_for_response(2, kavu::wire::RESPONSE_CODE_OK));
  ASSERT_TRUE(outside.wait_until_connected());
  outside.publish("a/x", "123");
  settle();
  const auto result = host.scan_result(1);
  EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_WARNING);
  EXPECT_THAT(result.message().text(), HasSubstr("messages may be missing"));
  EXPECT_EQ(integer_value(result, 0), 1);
  EXPECT_EQ(scan(1), (counts{0, 0, 0}));
}

TEST_F(statistics_test, a_sensor_that_is_created_without_a_broker_counts_when_there_is_one) {
  broker.stop();
  create(1, "a");
  create_witness();
  expect_connection_lost(1);
  broker.restart();
  EXPECT_TRUE(wait_for_response(1, kavu::wire::RESPONSE_CODE_OK));
  ASSERT_TRUE(outside.wait_until_connected());
  outside.publish("a", "123");
  settle();
  EXPECT_EQ(scan(1), (counts{1, 3, 1}));
}

TEST_F(statistics_test, a_creation_that_fails_gives_one_error_result_and_frees_the_id) {
  const auto settings = [this](std::string_view topic = "a") {
    return host_settings::statistics_sensor(broker.port(), topic);
  };
  struct {
    host_settings settings;
    const char* key;
    const char* text;
  } cases[] = {
      {settings("a/#/b"), "#:error.invalid_topic[", "'a/#/b'"},
      {settings(""), "#:error.invalid_topic[", "''"},
      {settings().set("credentials.connection_mqtt.port", "0"),
       "#:libkavuhelper.error.setting_invalid_less_min[", "Setting value 0"},
      {settings().remove("statistics.connection_statistics.topic"),
       "#:libkavuhelper.error.setting_not_available[", "statistics.connection_statistics.topic"},
      {settings().tls("").set("credentials.tls.server_auth_active", "yes"),
       "error.server_authentication_activated_but_ca_is_empty", "CA certificate is empty"}};
  for (const auto& each : cases) {
    const auto result = failed_creation(1, each.settings);
    EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_ERROR);
    EXPECT_THAT(result.message().key(), StartsWith(each.key));
    EXPECT_THAT(result.message().text(), HasSubstr(each.text));
    EXPECT_TRUE(result.values().empty());
  }
  create(1, "a");
  EXPECT_EQ(host.create_sensor(1, settings()), KAVU_ID_IN_USE);
}

}  // namespace
}  // namespace kavu_test
