#include "probe/report.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "probe/json_lines.hpp"
#include "probe/message_age.hpp"
#include "probe/reporter.hpp"
#include "probe/test_document.hpp"
#include "probe/text_layout.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

TEST(scale, keeps_integers_exact_as_long_as_they_are_integers) {
  EXPECT_EQ(scale(largest, 1.0), channel_number(largest));
  EXPECT_EQ(scale(std::int64_t{-4}, 1000.0), channel_number(std::int64_t{-4000}));
  EXPECT_EQ(scale(std::int64_t{5}, 0.5), channel_number(2.5));
  EXPECT_EQ(scale(largest, 2.0), channel_number(static_cast<double>(largest) * 2));
  EXPECT_EQ(scale(0.1, 1.0), channel_number(0.1));
  for (const double factor :
       {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(scale(std::int64_t{1}, factor));
  }
  EXPECT_FALSE(scale(1e300, 1e300));
}

TEST(counter, gives_differences_and_nothing_without_one) {
  std::map<std::int32_t, std::int64_t> counters;
  EXPECT_FALSE(count_up(counters, 1, 10));
  EXPECT_EQ(count_up(counters, 1, 17), 7);
  EXPECT_EQ(count_up(counters, 1, 17), 0);
  EXPECT_FALSE(count_up(counters, 1, 3)) << "set back";
  EXPECT_EQ(count_up(counters, 1, 5), 2);
  EXPECT_FALSE(count_up(counters, 2, smallest));
  EXPECT_FALSE(count_up(counters, 2, largest)) << "the difference does not fit";
}

class report_test : public ::testing::Test {
 protected:
  kavu::wire::ChannelDefinition& define(int id, const char* key, const char* text,
                                        kavu::wire::ChannelKind kind) {
    auto& channel = *result_.add_definitions();
    channel.set_id(id);
    channel.mutable_name()->set_key(key);
    channel.mutable_name()->set_text(text);
    channel.set_kind(kind);
    return channel;
  }

  kavu::wire::ChannelValue& add(int id) {
    auto& value = *result_.add_values();
    value.set_id(id);
    return value;
  }

  scan_report make(const char* language = "English") {
    memory_.keep(result_);
    return make_scan_report(result_, "tank_sensor", memory_, translator(module_, language));
  }

  const definition module_ = read_definition(kavu_test::test_document);
  kavu::wire::ScanResult result_;
  sensor_memory memory_;
};

TEST_F(report_test, json_is_exact_and_says_why_there_is_no_value) {
  result_.set_sensor_id(4);
  result_.mutable_message()->set_key("#:error.refused[a,b]");
  result_.mutable_message()->set_text("Refused by 'a': b (100%)");
  define(0, "channel.count", "Count", kavu::wire::CHANNEL_KIND_INTEGER)
      .set_unit(kavu::wire::CHANNEL_UNIT_COUNT);
  auto& custom = define(1, "T \xff", "T \xff", kavu::wire::CHANNEL_KIND_FLOAT);
  custom.set_unit(kavu::wire::CHANNEL_UNIT_CUSTOM);
  custom.set_unit_text("°C");
  define(2, "Total", "Total", kavu::wire::CHANNEL_KIND_DELTA_COUNTER);
  define(3, "State", "State", kavu::wire::CHANNEL_KIND_INTEGER).set_lookup_name("level");
  define(4, "Left out", "Left out", kavu::wire::CHANNEL_KIND_INTEGER);
  define(5, "Bad", "Bad", kavu::wire::CHANNEL_KIND_FLOAT);
  add(0).set_integer(largest);
  add(1).set_floating(0.1);
  add(2).set_integer(100);
  add(3).set_integer(4);
  add(5).set_floating(std::numeric_limits<double>::infinity());
  const std::string line = to_json_line(make("German"));
  const std::string rest = line.substr(line.find(R"("kind")"));
  const std::string expected =
      R"j("kind":"tank_sensor","id":4,"ok":true,"response_code":0,)j"
      R"j("message":{"key":"#:error.refused[a,b]","text":"Von 'a' abgewiesen: b (100%)"},)j"
      R"j("channels":[)j"
      R"j({"id":0,"key":"channel.count","name":"Anzahl","value":9223372036854775807,)j"
      R"j("unit":"count"},)j"
      "{\"id\":1,\"key\":\"T \uFFFD\",\"name\":\"T \uFFFD\",\"value\":0.1,\"unit\":\"°C\"},"
      R"j({"id":3,"key":"State","name":"State","value":4,"unit":"","text":"Alles gut",)j"
      R"j("state":"ok"}],"empty_channels":[)j"
      R"j({"id":2,"key":"Total","name":"Total","why":"first value"},)j"
      R"j({"id":4,"key":"Left out","name":"Left out","why":"no value in this scan"},)j"
      R"j({"id":5,"key":"Bad","name":"Bad","why":"not a finite number"}]})j";
  EXPECT_EQ(rest, expected);
  result_.mutable_values(2)->set_integer(107);
  EXPECT_EQ(make().channels[2].value, channel_number(std::int64_t{7}));
  result_.mutable_values(2)->set_integer(106);
  EXPECT_EQ(make().channels[2].why_empty, "the counter was set back");
}

TEST_F(report_test, a_sensor_without_a_message_says_since_when) {
  define(1, "A", "A", kavu::wire::CHANNEL_KIND_FLOAT);
  const translator english(module_, "English");
  memory_.keep(result_);
  const auto line = [&] {
    return state_line(make_scan_report(result_, "subscribe_custom_sensor", memory_, english));
  };
  EXPECT_EQ(line(), "ok: no message yet");
  memory_.persistent_data["time_of_last_message"] = "2026-03-01T12:00:05Z";
  EXPECT_EQ(line(), "ok: no message in this interval");
  add(1).set_floating(1);
  EXPECT_EQ(line(), "ok");
}

TEST_F(report_test, warnings_and_errors_are_told_by_code_or_by_a_looked_up_state) {
  for (const auto& [code, line] : {std::pair{kavu::wire::RESPONSE_CODE_WARNING, "warning"},
                                   {kavu::wire::RESPONSE_CODE_WRONG_ANSWER, "error"},
                                   {kavu::wire::RESPONSE_CODE_OK, "ok"}}) {
    result_.set_response_code(code);
    EXPECT_EQ(make().ok, line != std::string("error")) << code;
    EXPECT_EQ(state_line(make()), line);
  }
  result_.set_error_code(1);
  EXPECT_FALSE(make().ok);
  result_.set_error_code(0);
  define(3, "State", "State", kavu::wire::CHANNEL_KIND_INTEGER).set_lookup_name("level");
  add(3).set_integer(0);
  const scan_report report = make();
  EXPECT_FALSE(report.ok);
  EXPECT_EQ(value_text(report.channels.at(0)), "Dry");
}

TEST(message_age, that_is_too_great_or_unknown_makes_an_error) {
  struct {
    std::optional<std::int64_t> age;
    const char* said;
    const char* shown;
  } const cases[] = {
      {60, "hot", nullptr},
      {61, nullptr, "The last message is 61 s old, more than 60 s."},
      {61, "hot", "The last message is 61 s old, more than 60 s. The sensor says: hot"},
      {std::nullopt, nullptr, "No message has come yet; at least one every 60 s is expected."},
  };
  for (const auto& expected : cases) {
    scan_report report;
    report.ok = true;
    if (expected.said != nullptr) {
      report.message = message_text{expected.said, expected.said};
    }
    channel_report channel;
    channel.id = expected.age ? 0 : 1;
    channel.key = "channel.duration_since_last_message";
    channel.value = expected.age.value_or(5);
    report.channels.push_back(channel);
    require_recent_message(report, 60);
    EXPECT_EQ(report.ok, expected.shown == nullptr);
    EXPECT_EQ(report.response_code, report.ok ? 0 : 2);
    EXPECT_EQ(report.message->text, report.ok ? expected.said : expected.shown);
  }
}

TEST(number, shows_no_artefacts_to_people) {
  struct {
    channel_number value;
    bool scaled;
    const char* text;
  } const cases[] = {
      {largest, false, "9223372036854775807"},
      {99999999999.0, false, "99999999999"},
      {1427132110.5, false, "1427132110.5"},
      {-999999999999999.9, false, "-999999999999999.9"},
      {1e15, false, "1e+15"},
      {0.1 + 0.2, false, "0.30000000000000004"},
      {0.1 * 3, true, "0.3"},
      {12.0, true, "12"},
      {1e-5, false, "0.00001"},
      {1e-6, false, "1e-06"},
      {5e-324, true, "5e-324"},
      {-0.0, false, "0"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(number_text(each.value, each.scaled), each.text);
  }
  channel_report payload;
  payload.unit = "bytes/s";
  payload.unit_kind = kavu::wire::CHANNEL_UNIT_BYTES;
  payload.value = std::int64_t{1};
  EXPECT_EQ(unit_for_people(payload), "byte/s");
}

TEST(printable, cannot_steer_a_terminal) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\nb\tc", R"(a\nb\tc)"},
      {"\x1b[2J", R"(\x1b[2J)"},
      {"\x7f\xc2\x9b", R"(\x7f\x9b)"},
      {"\xe2\x80\xae", R"(\u202e)"},
      {"\xff\xc0\xafok", "\uFFFD\uFFFD\uFFFDok"},
      {"\xe2\x82", "\uFFFD"},
      {"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"},
      {"Wärme 温度 \U0001F321", "Wärme 温度 \U0001F321"},
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(printable(bytes), text);
  }
}

TEST(layout, counts_columns_not_bytes) {
  EXPECT_EQ(display_width("温度 é"), 6U);
  EXPECT_EQ(pad_right("温", 4), "温  ");
  EXPECT_EQ(shorten("温度計", 5), "温度…");
  EXPECT_EQ(wrap("one two  three", 7), (std::vector<std::string>{"one two", "three"}));
  EXPECT_EQ(wrap("温度温度", 5), (std::vector<std::string>{"温度", "温度"}));
  EXPECT_EQ(wrap("", 5), std::vector<std::string>{""});
}

}  // namespace
}  // namespace kavu_probe
