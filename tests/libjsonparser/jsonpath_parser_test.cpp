#include "libjsonparser/jsonpath_parser.hpp"

#include <gtest/gtest.h>

#include <locale>
#include <string>

#include "libjsonparser/exceptions.hpp"
#include "libjsonparser/outcome.hpp"

namespace brunvik::monitoring_modules::libjsonparser {
namespace {

using kavu_test::outcome;
using kavu_test::outcome_class;

std::string unexpected(const std::string& type) {
  return "unexpected_type_error: The received value has an unexpected data type. Type is: " + type;
}
std::string unconvertible(const std::string& value, const std::string& type) {
  return "conversion_error: '" + value + "' could not be converted to '" + type + "'.";
}
std::string incorrect(const std::string& detail) {
  return "query_error: The provided JSONPath is incorrect. " + detail;
}

TEST(jsonpath_parser_test, converts_every_type_of_value_or_says_why_not) {
  const auto no_integer = [](const std::string& value) { return unconvertible(value, "integer"); };
  const auto no_float = [](const std::string& value) {
    return unconvertible(value, "floating point");
  };
  const auto no_whole = [](const std::string& value) {
    return unexpected("floating point, value is: " + value);
  };
  const struct {
    std::string json, text, integer, number, counter, boolean;
  } cases[] = {
      {"9223372036854775807", "9223372036854775807", "9223372036854775807",
       "9.2233720368547758e+18", "9223372036854775807", unexpected("integer")},
      {"-9223372036854775808.0", "-9223372036854775808.0", "-9223372036854775808",
       "-9.2233720368547758e+18", "negative", unexpected("floating point")},
      {"18446744073709551615", "18446744073709551615", no_integer("18446744073709551615"),
       "1.8446744073709552e+19", no_integer("18446744073709551615"), unexpected("integer")},
      {"-123456789012345678901234567890", "-123456789012345678901234567890",
       no_integer("-123456789012345678901234567890"), "-1.2345678901234568e+29", "negative",
       unexpected("integer")},
      {"-21.0", "-21.0", "-21", "-21", "negative", unexpected("floating point")},
      {"-0.0", "0.0", "0", "-0", "0", unexpected("floating point")},
      {"1e17", "1e17", "100000000000000000", "1e+17", "100000000000000000",
       unexpected("floating point")},
      {"9007199254740993.0", "9007199254740993.0", "9007199254740993", "9007199254740992",
       "9007199254740993", unexpected("floating point")},
      {"90071992547409930000e-4", "90071992547409930000e-4", "9007199254740993", "9007199254740992",
       "9007199254740993", unexpected("floating point")},
      {"21.100000000000001", "21.1", no_whole("21.1"), "21.100000000000001", "21",
       unexpected("floating point")},
      {"9007199254740993.5", "9007199254740993.5", no_whole("9007199254740993.5"),
       "9007199254740994", "9007199254740993", unexpected("floating point")},
      {"2.9999999999999999999", "2.9999999999999999999", no_whole("2.9999999999999999999"), "3",
       "2", unexpected("floating point")},
      {"2.5", "2.5", no_whole("2.5"), "2.5", "2", unexpected("floating point")},
      {"1e-400", "1e-400", no_whole("1e-400"), no_float("1e-400"), no_float("1e-400"),
       unexpected("floating point")},
      {"0e99999999999999999999", "0.0", "0", "0", "0", unexpected("floating point")},
      {"9223372036854775808e0", "9223372036854775808e0", no_integer("9223372036854775808e0"),
       "9.2233720368547758e+18", no_integer("9223372036854775808e0"), unexpected("floating point")},
      {"1e300", "1e300", no_integer("1e300"), "1.0000000000000001e+300", no_integer("1e300"),
       unexpected("floating point")},
      {"-1E99999999999999999999", "-1E99999999999999999999", no_integer("-1E99999999999999999999"),
       no_float("-1E99999999999999999999"), no_float("-1E99999999999999999999"),
       unexpected("floating point")},
      {"\"4x\"", "4x", "4", "4", "4", unexpected("string")},
      {"\"9007199254740993.7 l\"", "9007199254740993.7 l", "9007199254740993", "9007199254740994",
       "9007199254740993", unexpected("string")},
      {"\"inf\"", "inf", no_integer("inf"), no_float("inf"), no_float("inf"), unexpected("string")},
      {"\"9223372036854775808\"", "9223372036854775808", no_integer("9223372036854775808"),
       "9.2233720368547758e+18", no_integer("9223372036854775808"), unexpected("string")},
      {"\"0x1p4\"", "0x1p4", no_integer("0x1p4"), "16", "16", unexpected("string")},
      {"\"\"", "", no_integer(""), no_float(""), no_float(""), unexpected("string")},
      {"true", "true", unexpected("boolean"), unexpected("boolean"), unexpected("boolean"), "true"},
      {"\"false\"", "false", no_integer("false"), no_float("false"), no_float("false"), "false"},
      {"\"TRUE\"", "TRUE", no_integer("TRUE"), no_float("TRUE"), no_float("TRUE"),
       unexpected("string")},
      {"null", "null", unexpected("null"), unexpected("null"), unexpected("null"),
       unexpected("null")},
      {"[1, \"b\", null]", "[1,\"b\",null]", unexpected("array"), unexpected("array"),
       unexpected("array"), unexpected("array")},
      {"{\"z\": 1.0, \"b\": [1e999]}", "{\"b\":[1e999],\"z\":1.0}", unexpected("object"),
       unexpected("object"), unexpected("object"), unexpected("object")},
  };
  for (const auto& each : cases) {
    const jsonpath_parser parser("{\"value\":" + each.json + "}");
    EXPECT_EQ(outcome([&] { return parser.query_string("$.value"); }), each.text) << each.json;
    EXPECT_EQ(outcome([&] { return parser.query_integer("$.value"); }), each.integer) << each.json;
    EXPECT_EQ(outcome([&] { return parser.query_float("$.value"); }), each.number) << each.json;
    EXPECT_EQ(outcome([&] {
                const auto counter = parser.query_counter("$.value");
                return counter ? std::to_string(*counter) : "negative";
              }),
              each.counter)
        << each.json;
    EXPECT_EQ(outcome([&] { return parser.query_boolean("$.value"); }), each.boolean) << each.json;
  }
}

const char* const plant = R"({
  "a": 7, "b": 2, "zero": 0, "least": -9223372036854775808, "most": 9223372036854775807,
  "minus": -1, "text": "12", "json": "{\"x\":[5]}", "word": "hello", "nothing": null, "yes": true,
  "large": [9007199254740993, 2], "nearly": 2.9999999999999999999, "state": "OFF", "no": false,
  "object": {"p": 1, "1e16": 2}, "used": 9.5e15, "total": 1e16, "firmware": 21.100000000000001,
  "beyond": 9223372036854775807.5, "tiny": -1e-400, "hot": 212,
  "single": [2.9999999999999999999],
  "list": [1, 2, 3],
  "boilers": [{"name": "east", "t": 21.5}, {"name": "west", "t": 30}]
})";

TEST(jsonpath_parser_test, finds_and_calculates_what_an_expression_says) {
  const struct {
    std::string query, expected;
  } cases[] = {
      {"$.boilers[0].t", "21.5"},
      {"$.boilers[?(@.t > 25)].name", "west"},
      {"$.boilers[?(@.name =~ /^e.*t/)].t", "21.5"},
      {"$..p", "1"},
      {"sum($.list)", "6.0"},
      {"tokenize($.word, 'l')", "[\"he\",\"\",\"o\"]"},
      {"abs($.minus)", "1"},
      {"abs($.least)", "9.223372036854776e+18"},
      {"eval($.a / $.b)", "3"},
      {"eval($.a - $.b * $.b)", "3"},
      // Integers beyond 2^53 are added up exactly.
      {"sum($.large)", "9007199254740995"},
      {"prod($.large)", "18014398509481986"},
      {"max($.large)", "9007199254740993"},
      // Operators that bind equally strongly are used from the left.
      {"eval(10 - 3 - 2)", "5"},
      {"eval(10 - (3 - 2) - 4 / 2 * 2)", "5"},
      {"eval(($.hot - 32) * 5 / 9)", "100"},
      {"eval((212.0 - 32) * 5 / 9)", "100.0"},
      {"$.list[?(@ * 2 - 1 - 1 == 4 && @ > 2 || @ == 7)]", "3"},
      // What was written as a decimal is one, and never a text, however it is kept.
      {"eval($.used / $.total)", "0.95"},
      {"choose($.firmware, 21.1, 1, 0)", "1"},
      {"choose($.firmware, 21.100000000000001, 1, 0)", "1"},
      {"length($.used)", incorrect("Invalid type")},
      {"contains($.used, '9')", incorrect("Invalid type")},
      {"tokenize($.used, 'e')", incorrect("Invalid type")},
      {"$[?(@ =~ /e1/)]", "empty_result: The queried field \"$[?(@ =~ /e1/)]\" is empty."},
      {"$.used.length", "empty_result: The queried field \"$.used.length\" is empty."},
      {"$.used['length','x']",
       "empty_result: The queried field \"$.used['length','x']\" is empty."},
      {"$.object[($.total)]", "empty_result: The queried field \"$.object[($.total)]\" is empty."},
      {"ceil($.large[0])", "9007199254740993"},
      {"floor($.nearly)", "2.0"},
      {"floor(-$.nearly)", "-3.0"},
      {"ceil($.beyond)", "9.223372036854776e+18"},
      {"floor(-$.beyond)", "-9223372036854775808.0"},
      {"eval(-$.nearly)", "-2.9999999999999999999"},
      {"abs($.tiny)", "1e-400"},
      {"sum($.single)", "2.9999999999999999999"},
      {"prod($.single)", "2.9999999999999999999"},
      {"to_number('9007199254740993.0')", "9007199254740993.0"},
      // What is no 64-bit integer becomes a floating point number instead of another integer.
      {"eval($.most + $.a)", "9.223372036854776e+18"},
      {"eval($.most * -1 - $.b)", "-9.223372036854776e+18"},
      {"eval($.least / $.minus)", "9.223372036854776e+18"},
      {"eval(-$.least)", "9.223372036854776e+18"},
      {"eval($.a / $.zero)", unconvertible("result out of range", "string")},
      {"eval($.a % $.zero)", unconvertible("undefined result", "string")},
      {"$.list[?($.a % $.zero >= @ || $.a % $.zero <= @ || $.a % $.zero > @)]",
       "empty_result: The queried field \"$.list[?($.a % $.zero >= @ || $.a % $.zero <= @ || "
       "$.a % $.zero > @)]\" is empty."},
      // eval: scalars as they are, JSON in a string as the value that it stands for.
      {"eval($.nothing)", "null"},
      {"eval($.yes)", "true"},
      {"eval($.text)", "12"},
      {"eval($.json)", "{\"x\":[5]}"},
      {"eval($.word)", "hello"},
      {"eval($.object)", incorrect("Invalid type")},
      {"eval($.list)", incorrect("Invalid type")},
      {"$.list[?(eval(@) > 2)]", "3"},
      {"$.boilers[?(eval(@) > 2)]", incorrect("Invalid type")},
      {"abs($.text)", incorrect("Invalid type")},
      {"$.list[?(abs($.word) || @ > 2)]", incorrect("Invalid type")},
      {"tokenize($.a, 'l')", incorrect("Invalid type")},
      {"sum($.text)", incorrect("Invalid type")},
      {"abs($.missing)", "empty_result: The queried field \"abs($.missing)\" is empty."},
      {"eval(1, 2)", incorrect("Incorrect number of arguments at line 1 and column 10")},
      // number and choose
      {"number($.yes)", "1"},
      {"number($.no)", "0"},
      {"number($.large[0])", "9007199254740993"},
      {"number(' +05.50 ')", "5.5"},
      {"number('-.5e1')", "-5.0"},
      {"number('9007199254740993.0')", "9007199254740993.0"},
      {"number('5 V')", incorrect("number: '5 V' is no number.")},
      {"number('')", incorrect("number: '' is no number.")},
      {"number($.list)", incorrect("number: an array is no number.")},
      {"number($.missing)", "empty_result: The queried field \"number($.missing)\" is empty."},
      {"choose($.state, 'ON', 1, 'OFF', 0)", "0"},
      {"choose($.yes, true, 'on', false, 'off')", "on"},
      {"choose($.b, 1, 'one', 2.0, 'two')", "two"},
      {"choose($.word, 'ON', 1, -1)", "-1"},
      {"choose($.missing, 'ON', 1, null, 7)", "7"},
      {"$.boilers[?(choose(@.name, 'east', 1, 0) == 1)].t", "21.5"},
      {"choose($.word, 'ON', 1, 'OFF', 0)", incorrect("choose: there is no pair for 'hello'.")},
      {"choose($.list, 'ON', 1)", incorrect("choose: there is no pair for an array.")},
      {"choose($.word, 'ON')", incorrect("choose: it needs a value and at least one pair.")},
      {"$.missing", "empty_result: The queried field \"$.missing\" is empty."},
      {"", "empty_result: The queried field \"\" is empty."},
      {"$.", incorrect("Syntax error at line 1 and column 3")},
      {"nonsense($.a)", incorrect("Unknown function at line 1 and column 9")},
      {"$.list[*]",
       "unexpected_array_error: The received value is an array instead of a single value. Array "
       "size is: 3"},
  };
  const jsonpath_parser parser(plant);
  for (const auto& each : cases) {
    EXPECT_EQ(outcome([&] { return parser.query_string(each.query); }), each.expected)
        << each.query;
  }
  EXPECT_EQ(parser.query_integer("eval($.text)"), 12) << "failures leave the document as it was";
  for (const auto* query : {"avg($.large[0:1])", "eval($.large[0] * 1.0)"}) {
    EXPECT_EQ(outcome_class([&] { return parser.query_counter(query).value_or(-1); }),
              "conversion_error")
        << "rounded: " << query;
  }
}

TEST(jsonpath_parser_test, returns_all_matches_as_a_list) {
  const jsonpath_parser parser(R"({"a": [1, "two", [3]]})");
  EXPECT_EQ(parser.query_list("$.a[*]"), (jsonpath_parser::list{"1", "two", "[3]"}));
  EXPECT_EQ(parser.query_list("$.a"), (jsonpath_parser::list{"[1,\"two\",[3]]"}));
  EXPECT_TRUE(parser.query_list("$.b").empty());
  EXPECT_THROW((void)parser.query_list("$["), exceptions::query_error);
  EXPECT_EQ(outcome([&] { return parser.query_object("$").size(); }),
            "other failure: NOT YET IMPLEMENTED");
}

TEST(jsonpath_parser_test, compares_numbers_of_any_size_with_anything) {
  // The library ends the process when a number beyond 64 bits is compared with a string.
  const jsonpath_parser parser(R"([{"state": "on", "id": 1}, {"state": 5, "id": 2},
      {"state": 99999999999999999999, "id": 3}, {"state": 18446744073709551615, "id": 4},
      {"state": [99999999999999999999, "on"], "id": 5}, {"state": {"x": 1e400}, "id": 6},
      {"state": 2.9999999999999999999, "id": 7}])");
  const struct {
    std::string filter;
    jsonpath_parser::list ids;
  } cases[] = {
      {"@.state == 'on'", {"1"}},
      {"@.state != 'on'", {"2", "3", "4", "5", "6", "7"}},
      {"@.state > 5", {"3", "4"}},
      {"@.state > 18446744073709551614", {"3", "4"}},
      {"@.state == 18446744073709551614", {}},
      {"@.state == 99999999999999999999", {"3"}},
      {"@.state == 99999999999999999998", {}},
      {"@.state == 999999999999999999990e-1", {"3"}},
      {"@.state == 3", {}},
      {"@.state > 2.5 && @.state < 3", {"7"}},
      {"@.state == $[4].state", {"5"}},
      {"@.state == $[5].state", {"6"}},
  };
  for (const auto& [filter, ids] : cases) {
    EXPECT_EQ(parser.query_list("$[?(" + filter + ")].id"), ids) << filter;
  }
  EXPECT_EQ(parser.query_string("eval($[2].state + 1)"), "1e+20");
}

struct decimal_comma : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// In C++'s locale; KAVU_TEST_LOCALE gives all tests that of C as well.
TEST(jsonpath_parser_test, reads_and_writes_numbers_as_ever_in_a_country_with_a_decimal_comma) {
  const auto before = std::locale::global(std::locale(std::locale::classic(), new decimal_comma));
  const jsonpath_parser parser(
      R"({"number": 1234.5, "text": "2.75 bar", "comma": "2,75", "large": 1234567,
          "hard": [5e-324, 0.1, 123456789.12345679, 1e23, 9007199254740993.0, 2.5e-7]})");
  EXPECT_EQ(parser.query_float("$.number"), 1234.5);
  EXPECT_EQ(parser.query_float("$.text"), 2.75);
  EXPECT_EQ(parser.query_float("$.comma"), 2.0);
  EXPECT_EQ(parser.query_string("$.number"), "1234.5");
  EXPECT_EQ(parser.query_string("$.large"), "1234567");
  EXPECT_EQ(parser.query_string("$.hard"),
            "[5e-324,0.1,123456789.12345679,1e23,9007199254740993.0,2.5e-07]");
  EXPECT_EQ(parser.query_float("to_number('1.5')"), 1.5);
  EXPECT_EQ(parser.query_list("$[?(@ > 1234.25 && @ < 1234.75)]"),
            (jsonpath_parser::list{"1234.5"}));
  std::locale::global(before);
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libjsonparser
