// Which message a scan sees, what becomes of the values in it, and of messages that nobody should
// send.

#include <gmock/gmock.h>

#include "helpers/scripted_broker.hpp"
#include "sensors/custom_sensor_fixture.hpp"

namespace kavu_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

const char* const integer = "absolute_integer";
const char* const floating = "absolute_float";
const char* const counter = "delta_counter";

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
    EXPECT_EQ(plant_.scan(), repeats ? "ok \"two\" 1=2" : "ok");
    EXPECT_THAT(plant_.scan_after("{}"), HasSubstr("error"));
    EXPECT_EQ(plant_.scan(), repeats ? "ok \"two\" 1=2" : "ok");
    EXPECT_EQ(plant_.scan_after(R"({"t": 4, "name": "four"})"), "ok \"four\" 1=4");
    EXPECT_EQ(plant_.host.destroy_sensor(1), KAVU_OK);
  }
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

TEST_F(custom_sensor_test, the_message_text_is_taken_from_the_payload) {
  const std::pair<const char*, const char*> cases[] = {
      {R"("open, \"wide\" \u00fc %0:s #[")", "open, \"wide\" \u00fc %0:s #["},
      {R"("")", ""},
      {R"({"b": [1, 2], "a": true})", R"({"a":true,"b":[1,2]})"},
  };
  plant_.create(1, plant_.settings().custom("message_path", "$.s"));
  for (const auto& [value, text] : cases) {
    plant_.deliver(std::string(R"({"t": 1, "s": )") + value + "}");
    const auto result = plant_.host.scan_result(1);
    EXPECT_EQ(told(result), std::string("ok \"") + text + "\" 1=1");
    EXPECT_EQ(result.message().key(), text);
  }
  EXPECT_EQ(plant_.scan_after(R"({"t": 1})"), "error \"The queried field \"$.s\" is empty.\"");
}

TEST_F(custom_sensor_test, each_channel_is_as_the_user_has_set_it) {
  auto settings = plant_.settings().custom("duration_since_last_message", "enable");
  settings.channel(3, "$.t", floating).custom("channel3_unit", "\u00b0C");
  settings.custom("channel3_scale_factor", "0.25").channel(10, "$.t", counter);
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

/// The value of one channel of ten.
struct value_case {
  const char* type;
  const char* value;
  /// What the channel shows, or else why it does not.
  std::string shown;
  /// Its path; "%" stands for where it is.
  std::string path = "%";
};

std::string scan_of(plant& plant, const value_case (&cases)[10]) {
  host_settings settings = plant.settings();
  std::string document = R"({"v0": 0)";
  int channel = 0;
  for (const auto& each : cases) {
    const std::string name = "v" + std::to_string(++channel);
    std::string path = each.path;
    settings.channel(channel, path.replace(path.find('%'), 1, "$." + name), each.type);
    document += ", \"" + name + "\": " + each.value;
  }
  plant.create(1, settings);
  return plant.scan_after(document + "}");
}

TEST_F(custom_sensor_test, values_are_shown_as_they_are) {
  const value_case cases[] = {
      {integer, R"(" -7 degrees")", "-7"},
      {integer, "[0, 12]", "12", "%[1]"},
      {floating, "7", "7.0"},
      {floating, "-1e-3", "-0.001"},
      {floating, R"({"deep": {"er": 0.5}})", "0.5", "%..er"},
      {counter, "1.9", "1"},
      {integer, "9007199254740993.0", "9007199254740993"},
      {counter, "9007199254740993.5", "9007199254740993"},
      {counter, R"("9007199254740993")", "9007199254740993"},
      {counter, "9223372036854774784.0", "9223372036854774784"},
  };
  std::string expected = "ok";
  int channel = 0;
  for (const auto& each : cases) {
    expected += " " + std::to_string(++channel) + "=" + each.shown;
  }
  EXPECT_EQ(scan_of(plant_, cases), expected);
}

TEST_F(custom_sensor_test, values_that_do_not_fit_are_failures_with_a_text) {
  const std::string not_an_integer = "' could not be converted to 'integer'.";
  const std::string not_a_float = "' could not be converted to 'floating point'.";
  const std::string wrong_type = "The received value has an unexpected data type. Type is: ";
  const value_case cases[] = {
      {integer, "2.5", wrong_type + "floating point, value is: 2.5"},
      {integer, R"("inf")", "'inf" + not_an_integer},
      {integer, "1e9999", "'1e9999" + not_an_integer},
      {floating, "1e999", "'1e999" + not_a_float},
      {floating, "{}", wrong_type + "object"},
      {floating, "[1, 2]",
       "The received value is an array instead of a single value. Array size is: 2", "%[*]"},
      {floating, "[1]", "The provided JSONPath is incorrect. Invalid type", "eval(%)"},
      {counter, "-0.25", "Negative values are not supported by counter channels."},
      {counter, "9223372036854775808", "'9223372036854775808" + not_an_integer},
      {counter, R"("inf")", "'inf" + not_a_float},
  };
  std::string expected = "error \"";
  int channel = 0;
  for (const auto& each : cases) {
    expected += channel == 0 ? "Channel " : " Channel ";
    expected += std::to_string(++channel) + ": " + each.shown;
  }
  EXPECT_EQ(scan_of(plant_, cases), expected + "\"");
}

TEST_F(custom_sensor_test, what_the_wildcards_leave_out_is_told_whatever_the_result) {
  const std::pair<const char*, const char*> cases[] = {
      {"no JSON", "error .*"},
      {R"({"t": 5, "s": "fine"})",
       "warning \"Messages on topics that the filter leaves out were ignored, first on "
       "'plant/a:1'. fine\" 1=5"}};
  std::int32_t id = 0;
  for (const auto& [payload, shown] : cases) {
    plant_.host.inbox().clear();
    plant_.create(++id, plant_.settings().custom("topic", "plant/#").custom("message_path", "$.s"));
    plant_.deliver_many({{"plant/a:1", "{}"}, {"plant/a", payload}});
    EXPECT_THAT(plant_.scan(id), testing::MatchesRegex(shown));
    EXPECT_TRUE(plant_.host.inbox().logged("Sensor " + std::to_string(id) + ": messages on"));
    plant_.host.destroy_sensor(id);
  }
}

TEST_F(custom_sensor_test, one_failing_channel_does_not_pass_for_the_others) {
  auto settings = plant_.settings().custom("retain_last_message", "retain");
  settings.channel(2, "$.v2", counter).channel(3, "$.v3").channel(10, "$.v10", counter);
  settings.custom("channel3", "disable");
  plant_.create(1, settings);
  EXPECT_EQ(plant_.scan_after(R"({"t": 1, "v3": 3, "v10": "ten"})"),
            "error \"Channel 2: The queried field \"$.v2\" is empty. "
            "Channel 10: 'ten' could not be converted to 'floating point'.\"");
  EXPECT_EQ(plant_.scan(), "ok");  // nothing of it has been kept
  EXPECT_EQ(plant_.scan_after(R"({"t": 1, "v2": 2, "v10": 10})"), "ok 1=1 2=2 10=10");
}

TEST_F(custom_sensor_test, a_bad_message_is_told_and_the_next_good_one_is_read) {
  const char* const parse = "libjsonparser.error.parse";
  const struct {
    std::string payload;
    const char* key;
    const char* words;
  } cases[] = {
      {"", "error.payload_empty", "The received payload is empty."},
      {R"({"t": 5)", parse, "The received JSON data could not be parsed. "},
      {"{\"t\": 5, \"u\": \"\xff\"}", parse, "codepoint"},
      {std::string("{\"t\": 5\0}", 9), parse, ""},
      {std::string(1'000'000, '['), parse, "nesting"},
      {"{\"t\": 5, \"u\": \"" + std::string(64 << 20, 'x') + "\"}", parse, "67108881 bytes"},
  };
  plant_.create(1, plant_.settings());
  int next = 0;
  for (const auto& each : cases) {
    SCOPED_TRACE(each.payload.substr(0, 20));
    plant_.deliver(each.payload);
    const auto result = plant_.host.scan_result(1);
    EXPECT_EQ(key_of(result.message()), each.key);
    EXPECT_THAT(told(result), AllOf(StartsWith("error \""), HasSubstr(each.words)));
    EXPECT_LT(result.message().text().size(), 300U);
    EXPECT_EQ(result.values_size(), 0);
    const std::string good = std::to_string(++next);
    EXPECT_EQ(plant_.scan_after("{\"t\": " + good + "}"), "ok 1=" + good);
  }
}

}  // namespace
}  // namespace kavu_test
