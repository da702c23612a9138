// Which message a scan sees, and what it tells besides the values.

#include <gmock/gmock.h>

#include <algorithm>

#include "helpers/scripted_broker.hpp"
#include "sensors/custom_sensor_fixture.hpp"

namespace kavu_test {
namespace {

using testing::HasSubstr;

TEST_F(custom_sensor_test, a_message_is_evaluated_once_and_the_later_one_wins) {
  for (const bool repeats : {false, true}) {
    plant_.create(1, plant_.settings()
                         .custom("retain_last_message", repeats ? "retain" : "dismiss")
                         .custom("message_path", "$.name"));
    EXPECT_EQ(plant_.scan(), "ok");
    plant_.deliver_many({{"plant/boiler", R"({"t": 1, "name": "one"})"},
                         {"plant/boiler", R"({"t": 2, "name": "two"})"},
                         {"plant/other", R"({"t": 3, "name": "three"})"}});
    EXPECT_EQ(plant_.scan(), "ok \"two\" 1=2");
    for (int scans = 0; scans < 2; ++scans) {
      EXPECT_EQ(plant_.scan(), repeats ? "ok \"two\" 1=2" : "ok");
    }
    EXPECT_THAT(plant_.scan_after("{}"), HasSubstr("error"));
    EXPECT_EQ(plant_.scan(), repeats ? "ok \"two\" 1=2" : "ok");
    EXPECT_EQ(plant_.scan_after(R"({"t": 4, "name": "four"})"), "ok \"four\" 1=4");
    EXPECT_EQ(plant_.host.destroy_sensor(1), KAVU_OK);
  }
}

TEST_F(custom_sensor_test, a_retained_message_is_there_at_the_first_scan) {
  plant_.deliver(R"({"t": 5})", true);
  plant_.create(1, plant_.settings());
  plant_.deliver_many({});
  EXPECT_EQ(plant_.scan(), "ok 1=5");
  plant_.clear_retained();
}

TEST(custom_sensor, a_retained_message_may_come_before_the_answer) {
  scripted_broker early;
  early.deliver_retained_before_suback(true);
  early.publish("plant/boiler", R"({"t": 6})", 1, true);
  plant here(early.port());
  here.create(1, here.settings());
  here.deliver_many({});
  EXPECT_EQ(here.scan(), "ok 1=6");
}

TEST_F(custom_sensor_test, the_message_text_is_taken_from_the_payload) {
  const struct {
    const char* payload;
    const char* text;
  } cases[] = {
      {R"({"t": 1, "s": "open, \"wide\" \u00fc %0:s #["})", "open, \"wide\" \u00fc %0:s #["},
      {R"({"t": 1, "s": ""})", ""},
      {R"({"t": 1, "s": 1.5})", "1.5"},
      {R"({"t": 1, "s": null})", "null"},
      {R"({"t": 1, "s": {"b": [1, 2], "a": true}})", R"({"a":true,"b":[1,2]})"},
  };
  plant_.create(1, plant_.settings().custom("message_path", "$.s"));
  for (const auto& each : cases) {
    plant_.deliver(each.payload);
    const auto result = plant_.host.scan_result(1);
    EXPECT_EQ(told(result), std::string("ok \"") + each.text + "\" 1=1");
    EXPECT_EQ(result.message().key(), each.text);
  }
  EXPECT_EQ(plant_.scan_after(R"({"t": 1})"), "error \"The queried field \"$.s\" is empty.\"");
}

TEST_F(custom_sensor_test, each_channel_is_as_the_user_has_set_it) {
  auto settings = plant_.settings().custom("duration_since_last_message", "enable");
  settings.channel(3, "$.t", "absolute_float").custom("channel3_unit", "\u00b0C");
  settings.custom("channel3_scale_factor", "0.25").channel(10, "$.t", "delta_counter");
  plant_.create(1, settings);
  const auto result = plant_.host.scan_result(1);
  std::vector<std::string> seen;
  for (const auto& each : result.definitions()) {
    seen.push_back(std::to_string(each.id()) + " " + each.name().text() + " " +
                   std::to_string(each.kind()) + " " + std::to_string(each.unit()) + " " +
                   each.unit_text() +
                   (each.has_scale_factor() ? " " + number_text(each.scale_factor()) : ""));
  }
  EXPECT_THAT(seen, testing::ElementsAre("0 Time Since Last Message 1 3 ", "1 Channel 1 1 0  1.0",
                                         "3 Channel 3 2 1 \u00b0C 0.25", "10 Channel 10 3 0  1.0"));
}

TEST(custom_sensor, a_loss_between_scans_is_told_and_no_message_is_lost_by_it) {
  scripted_broker broker;
  plant here(broker.port());
  here.create(1, here.settings().set("logging", "enabled"));
  here.deliver(R"({"t": 5})");
  broker.stop_listening();
  broker.drop("TRAVO_*");
  ASSERT_TRUE(here.host.inbox().wait_for_log("Connection lost"));
  const auto result = here.host.scan_result(1);
  EXPECT_EQ(key_of(result.message()), "error.connection_lost");
  EXPECT_EQ(told(result), "error \"The connection to the MQTT broker (server) was lost.\"");
  EXPECT_EQ(here.host.inbox().persistent_data(1).count("time_of_last_message"), 1U);
  broker.start_listening();
  std::string told_now;
  EXPECT_TRUE(eventually([&] {
    told_now = here.scan();
    return told_now == "ok 1=5";
  })) << told_now;
  EXPECT_EQ(here.scan_after(R"({"t": 6})"), "ok 1=6");
}

TEST(custom_sensor, a_refused_subscription_fails_the_creation_once) {
  scripted_broker broker;
  broker.add({.at = step::subscribe_received, .action = fault::refuse{}, .topic = "plant/boiler"});
  plant here(broker.port());
  EXPECT_EQ(here.host.create_sensor(1, here.settings()), KAVU_FAILED);
  const auto results = here.host.inbox().scan_results(1);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(told(results[0]),
            "error \"An error occurred. The broker refused the subscription to 'plant/boiler'.\"");
  EXPECT_EQ(here.host.scan(1), KAVU_UNKNOWN_ID);
  broker.release_all();
  here.create(1, here.settings());
  EXPECT_EQ(here.scan_after(R"({"t": 1})"), "ok 1=1");
}

}  // namespace
}  // namespace kavu_test
