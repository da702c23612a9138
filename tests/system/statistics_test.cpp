// Statistics sensors at a real broker.

#include <gmock/gmock.h>

#include "helpers/mosquitto_broker.hpp"
#include "system/module_fixture.hpp"

namespace kavu_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class statistics_test : public module_at<mosquitto_broker> {
 protected:
  void expect_connection_lost(std::int32_t id) {
    const auto result = host.scan_result(id);
    EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_ERROR);
    EXPECT_EQ(result.message().key(), "error.connection_lost");
    EXPECT_TRUE(result.values().empty());
  }
  /// What came before a loss is not forgotten, and that there was one is told once, whether or not
  /// a scan has met it.
  void expect_counts_with_a_gap(std::int32_t id, int messages, int bytes) {
    const auto result = host.scan_result(id);
    EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_WARNING);
    EXPECT_THAT(result.message().text(), HasSubstr("messages may be missing"));
    EXPECT_EQ(integer_value(result, 0), messages);
    EXPECT_EQ(integer_value(result, 1), bytes);
    EXPECT_EQ(scan(id), (counts{}));
  }
  bool wait_for_response(std::int32_t id, kavu::wire::ResponseCode code) {
    return eventually([&] { return host.scan_result(id).response_code() == code; });
  }
  /// Of the sensors only the second is scanned, which takes away what there is to tell.
  void wait_until_back() {
    for (const char* filter : {"a/#", "b/+", "witness"}) {
      EXPECT_TRUE(broker.wait_for_subscription(filter));
    }
    EXPECT_TRUE(wait_for_response(2, kavu::wire::RESPONSE_CODE_OK));
    ASSERT_TRUE(outside.wait_until_connected());
  }
};

TEST_F(statistics_test, sensors_of_equal_settings_share_one_connection) {
  create(1, "plant/#");
  create(2, "plant/+/t");
  create(3, "plant/+/t");
  create(4, "plant/a/t");
  create_witness();
  for (const int qos : {0, 1, 2}) {  // each counts a message once, however many filters match
    outside.publish("plant/a/t", "123", qos);
    outside.publish("plant/b", "4567", qos);
    settle();
    EXPECT_EQ(scan(1), (counts{2, 7, 2}));
    for (const std::int32_t id : {2, 3, 4}) {
      EXPECT_EQ(scan(id), (counts{1, 3, 1})) << id;
    }
  }
  EXPECT_EQ(host.destroy_sensor(1), KAVU_OK);
  EXPECT_EQ(host.destroy_sensor(3), KAVU_OK);
  outside.publish("plant/a/t", "12");
  settle();
  EXPECT_EQ(scan(2), (counts{1, 2, 1}));
  EXPECT_TRUE(host.check_succeeds(1, host_settings::connect_check(broker.port())));
  EXPECT_EQ(broker.connections_accepted("TRAVO_"), 1U) << "the check has used it as well";
  auto settings = host_settings::statistics_sensor(broker.port(), "#");
  ASSERT_EQ(host.create_sensor(5, settings.user("anna", "p")), KAVU_OK);
  EXPECT_TRUE(broker.wait_for_clients(2, "TRAVO_"));
  EXPECT_EQ(host.cleanup(), KAVU_OK);
  EXPECT_TRUE(broker.wait_for_clients(0, "TRAVO_"));
}

TEST_F(statistics_test, whatever_a_broker_delivers_is_counted_exactly_and_then_nothing) {
  const std::string longest = "t/" + std::string(65'533, 'x');
  const std::string odd =
      "t/(a*)*[^$\\|. \xc3\xbc\xe6\xbc\xa2";  // no wildcard covers such characters
  outside.publish("t/quiet", "open", 1, /*retain=*/true);
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
  const auto result = host.scan_result(1);
  EXPECT_EQ(counted(result), (counts{6, 4 + 1 + 1 + 3 + 1'000'000, 5}));
  EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_WARNING);
  EXPECT_THAT(result.message().text(), HasSubstr("first on '" + odd + "'"));
  EXPECT_TRUE(
      host.inbox().logged("Sensor 1: messages on topics that the filter 't/#' leaves out are "
                          "ignored, first on '" +
                          odd + "'."));
  EXPECT_EQ(scan(2), (counts{2, 2, 1}));
  EXPECT_EQ(scan(3), (counts{1, 5, 1}));
  for (const std::int32_t id : {1, 2, 3}) {
    EXPECT_EQ(scan(id), (counts{0, 0, 0}));
  }
  host.inbox().clear();
  outside.publish("t", "told with the result, logged once an hour");
  settle();
  EXPECT_THAT(host.scan_result(1).message().text(), HasSubstr("first on 't'"));
  EXPECT_FALSE(host.inbox().logged("leaves out"));
}

TEST_F(statistics_test, counting_goes_on_when_there_is_a_broker_again) {
  broker.stop();
  create(1, "a/#");
  create(2, "b/+");
  create(3, "a/#");
  create_witness();
  expect_connection_lost(1);
  broker.restart();
  wait_until_back();
  outside.publish("a/x", "123");
  settle();
  expect_counts_with_a_gap(1, 1, 3);
  outside.publish("a/x", "123");
  settle();
  broker.kill();
  EXPECT_TRUE(wait_for_response(2, kavu::wire::RESPONSE_CODE_ERROR));
  expect_connection_lost(3);
  broker.restart();
  wait_until_back();
  outside.publish("a/y", "4567");
  outside.publish("b/z", "1");
  settle();
  expect_counts_with_a_gap(1, 2, 7);
  expect_counts_with_a_gap(3, 3, 10);
  EXPECT_EQ(scan(2), (counts{1, 1, 1}));
  EXPECT_EQ(broker.connected_clients().size(), 2U);
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
