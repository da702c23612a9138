// What becomes of the values in a message, and of messages that nobody should send.

#include <gmock/gmock.h>

#include <algorithm>

#include "sensors/custom_sensor_fixture.hpp"

namespace kavu_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class custom_sensor_values : public custom_sensor_test {};

struct value_case {
  const char* type;
  /// In the document.
  const char* value;
  /// What the channel shows, or else why it does not.
  std::string shown;
  /// Its path; "%" stands for where it is.
  std::string path = "%";
};

const char* const integer = "absolute_integer";
const char* const floating = "absolute_float";
const char* const counter = "delta_counter";

const std::vector<value_case> good_values = {
    {integer, "0", "0"},
    {integer, "-1", "-1"},
    {integer, "9223372036854775807", "9223372036854775807"},
    {integer, "-9223372036854775808", "-9223372036854775808"},
    {integer, "2.0", "2"},
    {integer, "1e3", "1000"},
    {integer, R"("42")", "42"},
    {integer, R"("9007199254740993")", "9007199254740993"},
    {integer, R"("4x")", "4"},
    {integer, R"(" -7 degrees")", "-7"},
    {integer, "[0, 12]", "12", "%[1]"},

    {floating, "2.5", "2.5"},
    {floating, "7", "7.0"},
    {floating, "-1e-3", "-0.001"},
    {floating, "1e300", number_text(1e300)},
    {floating, R"("2.5")", "2.5"},
    {floating, R"({"deep": {"er": 0.5}})", "0.5", "%..er"},
    {floating, R"("2.5e1")", "25.0", "eval(%)"},

    {counter, "0", "0"},
    {counter, "1.9", "1"},
    {counter, R"("12")", "12"},
    {counter, "9007199254740993", "9007199254740993"},
    {counter, R"("9007199254740993")", "9007199254740993"},
    {counter, "9007199254740995", "9007199254740995"},
    {counter, "9223372036854775807", "9223372036854775807"},
    {counter, "9223372036854774784.0", "9223372036854774784"},
};

const std::string not_an_integer = "' could not be converted to 'integer'.";
const std::string not_a_float = "' could not be converted to 'floating point'.";
const std::string wrong_type = "The received value has an unexpected data type. Type is: ";
const std::string negative = "Negative values are not supported by counter channels.";

const std::vector<value_case> bad_values = {
    {integer, "1e300", "'1e+300" + not_an_integer},
    {integer, "9223372036854775808", "'9223372036854775808" + not_an_integer},
    {integer, "-9223372036854775809", "'-9223372036854775809" + not_an_integer},
    {integer, "1e9999", "'inf" + not_an_integer},
    {integer, "2.5", wrong_type + "floating point"},
    {integer, R"("inf")", "'inf" + not_an_integer},
    {integer, R"("NaN")", "'NaN" + not_an_integer},
    {integer, R"("9223372036854775808")", "'9223372036854775808" + not_an_integer},
    {integer, R"("")", "'" + not_an_integer},
    {integer, "true", wrong_type + "boolean"},
    {integer, "null", wrong_type + "null"},
    {integer, "[1, 2]", wrong_type + "array"},

    {floating, R"("inf")", "'inf" + not_a_float},
    {floating, R"("nan")", "'nan" + not_a_float},
    {floating, R"("1e999")", "'1e999" + not_a_float},
    {floating, "1e999", "'inf" + not_a_float},
    {floating, "{}", wrong_type + "object"},
    {floating, "[1, 2]",
     "The received value is an array instead of a single value. "
     "Array size is: 2",
     "%[*]"},
    {floating, "[1]", "The provided JSONPath is incorrect. Invalid type", "eval(%)"},

    {counter, "-1", negative},
    {counter, "-0.25", negative},
    {counter, R"("-3")", negative},
    {counter, "9223372036854775808", "'9.223372036854776e+18" + not_an_integer},
    {counter, "1e300", "'1e+300" + not_an_integer},
    {counter, R"("inf")", "'inf" + not_a_float},
};

/// Ten of the values at a time, in the ten channels of a sensor, and what its scan tells.
template <class Check>
void for_each_ten(plant& plant, const std::vector<value_case>& cases, const Check& check) {
  for (std::size_t begin = 0; begin < cases.size(); begin += 10) {
    const std::vector<value_case> ten(
        cases.begin() + static_cast<std::ptrdiff_t>(begin),
        cases.begin() + static_cast<std::ptrdiff_t>(std::min(begin + 10, cases.size())));
    host_settings settings = plant.settings();
    std::string document;
    int channel = 0;
    for (const auto& each : ten) {
      const std::string name = "v" + std::to_string(++channel);
      std::string path = each.path;
      settings.channel(channel, path.replace(path.find('%'), 1, "$." + name), each.type);
      document += (channel == 1 ? "{\"" : ", \"") + name + "\": " + each.value;
    }
    plant.create(1, settings);
    check(ten, plant.scan_after(document + "}"));
    EXPECT_EQ(plant.host.destroy_sensor(1), KAVU_OK);
  }
}

TEST_F(custom_sensor_values, are_shown_as_they_are) {
  for_each_ten(plant_, good_values, [](const auto& cases, const std::string& result) {
    std::string expected = "ok";
    int channel = 0;
    for (const auto& each : cases) {
      expected += " " + std::to_string(++channel) + "=" + each.shown;
    }
    EXPECT_EQ(result, expected);
  });
}

TEST_F(custom_sensor_values, that_do_not_fit_are_failures_with_a_text) {
  for_each_ten(plant_, bad_values, [](const auto& cases, const std::string& result) {
    std::string expected = "error \"";
    int channel = 0;
    for (const auto& each : cases) {
      expected += channel == 0 ? "Channel " : " Channel ";
      expected += std::to_string(++channel) + ": " + each.shown;
    }
    EXPECT_EQ(result, expected + "\"");
  });
}

TEST_F(custom_sensor_values, one_failing_channel_does_not_pass_for_the_others) {
  auto settings = plant_.settings().custom("retain_last_message", "retain");
  for (int channel = 1; channel <= 10; ++channel) {
    settings.channel(channel, "$.v" + std::to_string(channel),
                     channel % 2 == 0 ? counter : floating);
  }
  settings.custom("channel4", "disable");
  plant_.create(1, settings);
  EXPECT_EQ(plant_.scan_after(R"({"v1":1, "v2":2, "v3":3, "v5":5, "v6":6, "v8":8, "v9":9,
                                  "v10":"ten"})"),
            "error \"Channel 7: The queried field \"$.v7\" is empty. "
            "Channel 10: 'ten' could not be converted to 'floating point'.\"");
  EXPECT_EQ(plant_.scan(), "ok");  // nothing of it has been kept
  EXPECT_EQ(plant_.scan_after(R"({"v1":1, "v2":2, "v3":3, "v5":5, "v6":6, "v7":7, "v8":8, "v9":9,
                                  "v10":10})"),
            "ok 1=1.0 2=2 3=3.0 5=5.0 6=6 7=7.0 8=8 9=9.0 10=10");
}

struct bad_payload {
  const char* name;
  std::string payload;
  const char* key;
  const char* words;
};

TEST_F(custom_sensor_values, a_bad_message_is_told_and_the_next_good_one_is_read) {
  const char* const parse = "libjsonparser.error.parse";
  const std::string brackets(1'000'000, '[');
  const bad_payload cases[] = {
      {"nothing", "", "error.payload_empty", "The received payload is empty."},
      {"no JSON", "t = 5", parse, "The received JSON data could not be parsed. "},
      {"half of it", R"({"t": 5)", parse, "end of file"},
      {"something behind", R"({"t": 5} {)", parse, ""},
      {"not a number of JSON", R"({"t": NaN})", parse, ""},
      {"not UTF-8", "{\"t\": 5, \"u\": \"\xff\"}", parse, "codepoint"},
      {"NUL", std::string("{\"t\": 5\0}", 9), parse, ""},
      {"deep", brackets, parse, "nesting"},
      {"deep and closed", brackets + std::string(brackets.size(), ']'), parse, "nesting"},
      {"deep objects",
       [] {
         std::string text;
         for (int i = 0; i < 200'000; ++i) {
           text += R"({"a":)";
         }
         return text;
       }(),
       parse, "nesting"},
      {"64 MB", "{\"t\": 5, \"u\": \"" + std::string(64 << 20, 'x') + "\"}", parse,
       "67108881 bytes"},
  };
  plant_.create(1, plant_.settings());
  int next = 0;
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    plant_.deliver(each.payload);
    const auto result = plant_.host.scan_result(1);
    EXPECT_EQ(key_of(result.message()), each.key);
    EXPECT_THAT(told(result), AllOf(StartsWith("error \""), HasSubstr(each.words)));
    EXPECT_LT(result.message().text().size(), 300U);
    EXPECT_EQ(result.values_size(), 0);
    ++next;
    EXPECT_EQ(plant_.scan_after("{\"t\": " + std::to_string(next) + "}"),
              "ok 1=" + std::to_string(next));
  }
}

TEST_F(custom_sensor_values, long_strings_do_not_reach_the_regular_expressions) {
  auto settings = plant_.settings();
  settings.channel(1, "$.items[?(@.name =~ /(a|b)*c/)].value", integer);
  settings.channel(2, R"($.items[?(tokenize(@.name, '\\s+')[0] == 'abc')].value)", integer);
  plant_.create(1, settings);
  const auto document = [](const std::string& name) {
    return R"({"items": [{"name": ")" + name + R"(", "value": 5}]})";
  };
  EXPECT_EQ(plant_.scan_after(document("abc")), "ok 1=5 2=5");
  const std::string too_long =
      "The provided JSONPath is incorrect. The document holds a string of 300000 bytes; "
      "regular expressions bear 8192.";
  EXPECT_EQ(plant_.scan_after(document(std::string(300'000, 'a'))),
            "error \"Channel 1: " + too_long + " Channel 2: " + too_long + "\"");
  EXPECT_EQ(plant_.scan_after(document("abc")), "ok 1=5 2=5");

  plant_.create(2, plant_.settings().custom("message_path", "$[?(@ =~ /a*/)]"));
  plant_.deliver(R"({"t": 1, "name": ")" + std::string(300'000, 'a') + "\"}");
  EXPECT_EQ(plant_.scan(2), "error \"" + too_long + "\"");
}

}  // namespace
}  // namespace kavu_test
