#include <gtest/gtest.h>

#include <limits>

#include "kavuhelper/failure_text.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "platform/json_member.hpp"
#include "platform/json_writer.hpp"
#include "platform/wire_codec.hpp"

namespace kavu_test {
namespace {

namespace failures = brunvik::monitoring_modules::libkavuhelper::utils::exceptions;
using brunvik::monitoring_modules::platform::json_writer;
using brunvik::monitoring_modules::platform::without_member;
using namespace std::string_literals;

TEST(json_member, leaves_everything_else_as_it_stands) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"a": 1, "Text": {"x": [1, "}", {}]}})", R"({"a": 1})"},
      {R"({"Text": {}, "a": 1,  "b": "T"})", R"({"a": 1,  "b": "T"})"},
      {R"({"a": 1, "Text": "\"}", "b":[2]})", R"({"a": 1, "b":[2]})"},
      {R"({"a": {"Text": 5}, "texT": -1.5e3})", R"({"a": {"Text": 5}, "texT": -1.5e3})"},
      {"{ \"Text\" :null }\n", "{  }\n"},
      {R"({"Text":1,"Text":2,"a":"\\"})", R"({"a":"\\"})"},
  };
  for (const auto& [json, expected] : cases) {
    EXPECT_EQ(without_member(json, "Text"), expected) << json;
  }
}

TEST(json_member, refuses_what_is_no_object) {
  for (const char* json : {"", "[]", "5", "{", R"({"a")", R"({"a":)", R"({"a":1)", R"({"a":1,)",
                           R"({"a":1,})", R"({"a":1}})", R"({"a" 1})", R"({"a":"x)", R"({"a":"x\)",
                           R"({"a":[1})", R"({a:1})", R"({"a":1} x)", R"({"a":})", R"({"a":,})"}) {
    EXPECT_THROW((void)without_member(json, "Text"), failures::create_protobuf_from_json_failed)
        << json;
  }
}

TEST(json_writer, writes_valid_json_whatever_the_bytes) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\"b\\c", R"("a\"b\\c")"},
      {"\n\x01\x7f\0"s, R"("\u000a\u0001\u007f\u0000")"},
      {"\u00e4\u20ac\U0001F600", "\"\u00e4\u20ac\U0001F600\""},
      {"\xff", "\"\uFFFD\""},
      {"\xc3", "\"\uFFFD\""},                                  // ends too early
      {"\xc0\xaf", "\"\uFFFD\uFFFD\""},                        // overlong
      {"\xed\xa0\x80", "\"\uFFFD\uFFFD\uFFFD\""},              // a surrogate
      {"\xf4\x90\x80\x80x", "\"\uFFFD\uFFFD\uFFFD\uFFFDx\""},  // beyond the last character
  };
  for (const auto& [text, expected] : cases) {
    json_writer json;
    json.value(text);
    EXPECT_EQ(json.take(), expected);
  }
  json_writer json;
  json.begin_array();
  json.value(1.5);
  json.value(std::numeric_limits<double>::infinity());
  json.value(std::numeric_limits<std::int64_t>::min());
  json.end_array();
  EXPECT_EQ(json.take(), "[1.5,null,-9223372036854775808]");
}

TEST(wire_codec, a_message_beyond_the_limit_is_a_failure_with_both_sizes) {
  auto envelope = brunvik::monitoring_modules::platform::make_envelope();
  envelope.mutable_log_record()->set_text(std::string(100, 'x'));
  const std::size_t size = envelope.ByteSizeLong();
  using brunvik::monitoring_modules::platform::serialize;
  EXPECT_EQ(serialize(envelope, size).size(), size);
  EXPECT_EQ(failure_text<failures::message_too_long>([&] { (void)serialize(envelope, size - 1); }),
            "The Message with size " + std::to_string(size) +
                " bytes is larger than the maximum allowed length of " + std::to_string(size - 1) +
                " bytes.");
}

}  // namespace
}  // namespace kavu_test
