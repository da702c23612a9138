#include "libjsonparser/jsonpointer_parser.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "libjsonparser/case_insensitive_jsonpointer_parser.hpp"
#include "libjsonparser/outcome.hpp"

namespace brunvik::monitoring_modules::libjsonparser {
namespace {

using kavu_test::outcome;
using list = jsonpointer_parser::list;
using object = jsonpointer_parser::object;

const char* const plant = R"({
  "foo": {"bar": 1, "BAR": 2}, "a/b": 3, "m~n": 4, "": 5, "dotted.name": 6,
  "on": "true", "list": [10, "x", null], "Ünit": 7,
  "boilers": [{"t": 21.5, "on": true}, {"t": 30}], "rows": {"p": [1, 2], "q": []}, "bad": [[1]]
})";

std::string empty(const std::string& query) {
  return "empty_result: The queried field \"" + query + "\" is empty.";
}
std::string incorrect(const std::string& detail) {
  return "query_error: The provided JSONPath is incorrect. " + detail;
}

using cases = std::vector<std::pair<std::string, std::string>>;

void expect(const libparser::parser_interface& parser, const cases& expected) {
  for (const auto& [query, result] : expected) {
    EXPECT_EQ(outcome([&, &of = query] { return parser.query_string(of); }), result) << query;
  }
}

TEST(jsonpointer_parser_test, resolves_the_syntax_of_rfc_6901) {
  const jsonpointer_parser parser(plant);
  expect(parser, {{"/foo/bar", "1"},
                  {"/foo/BAR", "2"},
                  {"/a~1b", "3"},
                  {"/m~0n", "4"},
                  {"/", "5"},
                  {"/list/1", "x"},
                  {"/rows", R"({"p":[1,2],"q":[]})"},
                  {"/foo/nope", empty("/foo/nope")},
                  {"/list/3", empty("/list/3")},
                  {"/list/-", empty("/list/-")},
                  {"", parser.serialize()}});
  for (const auto* const query : {"foo", "/list/first", "/foo/bar/deeper"}) {
    EXPECT_THROW((void)parser.query_string(query), exceptions::query_error) << query;
  }
  EXPECT_EQ(parser.query_float("/boilers/0/t"), 21.5);
  EXPECT_TRUE(parser.query_boolean("/on"));
  EXPECT_EQ(jsonpointer_parser(" [1 , {\"b\":2,\"a\":\"\\u0041\"} ] ").serialize(),
            R"([1,{"a":"A","b":2}])");
}

TEST(jsonpointer_parser_test, resolves_dotted_names_in_any_case) {
  const case_insensitive_jsonpointer_parser parser(plant);
  expect(parser, {{"Foo.bar", "1"},
                  {"FOO.BAR", "2"},
                  {"foo.Bar", "2"},
                  {"LIST.1", "x"},
                  {"A/B", "3"},
                  {"ünit", empty("ünit")},
                  {"foo.", empty("foo.")},
                  {"list.3", empty("list.3")},
                  {"list.-1", empty("list.-1")},
                  {"list.1x", empty("list.1x")},
                  {"list.99999999999999999999", empty("list.99999999999999999999")},
                  {"foo.bar.deeper", incorrect("foo.bar.deeper")},
                  {"dotted.name", empty("dotted.name")},
                  {"", parser.serialize()}});
  EXPECT_EQ(case_insensitive_jsonpointer_parser(R"({"foo":{"bar":1}})").query_integer("Foo.BAR"),
            1);
}

TEST(jsonpointer_parser_test, returns_collections_or_says_which_part_has_the_wrong_type) {
  const jsonpointer_parser parser(plant);
  EXPECT_EQ(parser.query_list("/list"), (list{"10", "x", "null"}));
  EXPECT_EQ(parser.query_object("/boilers/0"), (object{{"on", "true"}, {"t", "21.5"}}));
  EXPECT_EQ(parser.query_list_of_objects("/boilers"),
            (std::vector<object>{{{"on", "true"}, {"t", "21.5"}}, {{"t", "30"}}}));
  EXPECT_EQ(parser.query_object_of_lists("/rows"),
            (std::map<std::string, list>{{"p", {"1", "2"}}, {"q", {}}}));
  EXPECT_TRUE(parser.query_list("/nope").empty());
  EXPECT_TRUE(parser.query_object_of_lists("/nope").empty());

  const auto unexpected = [](const std::string& where, const std::string& type) {
    return "unexpected_type_error: The received value has an unexpected data type. Type of \"" +
           where + "\" is: " + type;
  };
  EXPECT_EQ(outcome([&] { return parser.query_list("/foo").size(); }),
            unexpected("/foo", "object"));
  EXPECT_EQ(outcome([&] { return parser.query_list_of_objects("/bad").size(); }),
            unexpected("/bad/0", "array"));
  EXPECT_EQ(outcome([&] { return parser.query_object_of_lists("/boilers/0").size(); }),
            unexpected("/boilers/0/on", "boolean"));
  const case_insensitive_jsonpointer_parser dotted(plant);
  EXPECT_EQ(outcome([&] { return dotted.query_list_of_objects("Bad").size(); }),
            unexpected("Bad.0", "array"));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libjsonparser
