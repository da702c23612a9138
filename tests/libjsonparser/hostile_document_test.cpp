#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <chrono>
#include <cstddef>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include "libjsonparser/case_insensitive_jsonpointer_parser.hpp"
#include "libjsonparser/json_value.hpp"
#include "libjsonparser/jsonpath_expression.hpp"
#include "libjsonparser/jsonpath_parser.hpp"
#include "libjsonparser/outcome.hpp"

namespace brunvik::monitoring_modules::libjsonparser {
namespace {

using kavu_test::outcome;
using kavu_test::outcome_class;

std::string repeated(const std::string& text, std::size_t times) {
  std::string result;
  for (; times > 0; --times) {
    result += text;
  }
  return result;
}

std::string nested_objects(std::size_t depth, const std::string& inner = "1") {
  return repeated("{\"a\":", depth) + inner + repeated("}", depth);
}

std::string nested_arrays(std::size_t depth) {
  return repeated("[", depth) + "1" + repeated("]", depth);
}

std::string query(const std::string& document, const std::string& expression) {
  return outcome_class([&] { return jsonpath_parser(document).query_list(expression).size(); });
}

// Half a megabyte is what a frugal host gives its threads; without the optimiser frames are twice
// as large, with sanitizers several times.
void on_a_small_stack(std::function<void()> act) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  constexpr std::size_t stack_size = 4 * 1024 * 1024;
#elif defined(__OPTIMIZE__)
  constexpr std::size_t stack_size = 512 * 1024;
#else
  constexpr std::size_t stack_size = 1024 * 1024;
#endif
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, stack_size), 0);
  pthread_t thread{};
  ASSERT_EQ(pthread_create(
                &thread, &attributes,
                [](void* work) -> void* {
                  (*static_cast<std::function<void()>*>(work))();
                  return nullptr;
                },
                &act),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST(hostile_document_test, what_is_not_one_json_value_in_utf_8_is_refused) {
  const std::string cases[] = {"  ",
                               std::string(1, '\0'),
                               "hello",
                               "NaN",
                               "[1,]",
                               "{\"a\":1}x",
                               "1 2",
                               "// comment\n1",
                               "01",
                               "\"unfinished",
                               "\"\xff\"",
                               "\"\xc0\x80\"",
                               "\"\xed\xa0\x80\"",
                               "\xff\xfe[\0]\0",
                               "\"\\ud800\"",
                               "\"raw\tcontrol\"",
                               std::string(1'000'000, '['),
                               repeated("{\"a\":", 1'000'000),
                               nested_arrays(std::size_t{deepest_nesting} + 1),
                               "\"" + std::string(64U * 1024 * 1024, 'x') + "\""};
  for (const auto& text : cases) {
    EXPECT_EQ(query(text, "$"), "parse_error") << text.substr(0, 20);
  }
  EXPECT_EQ(query(nested_arrays(static_cast<std::size_t>(deepest_nesting)), "$"), "1");
  EXPECT_EQ(query("\"" + std::string(largest_document - 2, 'x') + "\"", "$"), "1");
}

TEST(hostile_document_test, a_failure_quotes_a_long_string_in_part_only) {
  const jsonpath_parser parser("\"" + repeated("ä", 500'000) + "\"");
  const auto text = outcome([&] { return parser.query_integer("$"); });
  EXPECT_EQ(text, "conversion_error: '" + repeated("ä", 100) +
                      "...' could not be converted to 'integer'.");
}

TEST(hostile_document_test, the_deepest_documents_fit_a_small_stack) {
  on_a_small_stack([] {
    for (const auto& document : {nested_objects(deepest_nesting), nested_arrays(deepest_nesting)}) {
      const jsonpath_parser parser(document);
      EXPECT_EQ(parser.serialize(), document);
      EXPECT_EQ(parser.query_list("$..x").size(), 0U);
      EXPECT_EQ(parser.query_list("$..*").size(), static_cast<std::size_t>(deepest_nesting));
      EXPECT_EQ(
          parser.query_list("$[?(@ == $[0])]").size() + parser.query_list("$[?(@ == $.a)]").size(),
          1U);
      EXPECT_EQ(parser.query_string("$"), document);
      EXPECT_EQ(outcome_class([&] { return parser.query_string("max($..*)"); }), "query_error");
    }
  });
}

TEST(hostile_document_test, expressions_are_bounded_too) {
  on_a_small_stack([] {
    const auto nested = [](const std::string& open, const std::string& inner,
                           const std::string& close) {
      const auto times = (longest_expression - inner.size() - 1) / (open.size() + close.size());
      return repeated(open, times) + inner + repeated(close, times);
    };
    EXPECT_EQ(query("1", nested("abs(", "1", ")")), "1");
    EXPECT_EQ(query(nested_objects(deepest_nesting), "$" + nested("[?(@", "", ")]")), "1");
    EXPECT_EQ(query(nested_objects(deepest_nesting), "$" + nested(".*", "", "")), "0");
    EXPECT_EQ(query("[1]", "$[?(" + nested("(", "1", ")").substr(4) + ")]"), "query_error");
    EXPECT_EQ(query("1", "$" + std::string(longest_expression, ' ')), "query_error");

    const std::string pattern(longest_expression_with_regex - 15, '(');
    EXPECT_EQ(query("[\"a\"]", "$[?(@ =~ /" + pattern + "/)]"), "query_error");
    EXPECT_EQ(query("[\"a\"]", "$[?(@ =~ /" + pattern + pattern + "/)]"), "query_error");
  });
}

TEST(hostile_document_test, regular_expressions_never_meet_a_string_that_they_cannot_bear) {
  const auto document = [](std::size_t length) {
    return "{\"a\":\"" + std::string(length, 'a') + "\",\"b\":\"" + std::string(400, '(') + "\"}";
  };
  const struct {
    std::string expression;
    std::size_t length;
    std::string expected;
  } cases[] = {
      {"$[?(@ =~ /a+/)]", 300'000, "query_error"},
      {"$[?(@ = ~ /a+/)]", 300'000, "query_error"},
      {"tokenize($.a, 'b')", 300'000, "query_error"},
      {"$[?(@ =~ /b+/)]", longest_searched_string + 1, "query_error"},
      {"$[?(@ =~ /b+/)]", longest_searched_string, "0"},
      {"$[?(@ =~ /^a+$/)]", 500, "1"},
      {"tokenize($.a, 'b')", 500, "1"},
      {"tokenize($.a, $.b)", 500, "query_error"},
      {"$.a", 300'000, "1"},
      // Takes more stack for each character than a bound on the length could foresee.
      {"$[?(@ =~ /((((((((a))))))))*$/)]", longest_searched_string, "query_error"},
      // Tries exponentially many ways.
      {"$[?(@ =~ /^([a-z]+ ?)*$/)]", 40, "1"},
      {"$[?(@ =~ /^([a-z]+ ?)*!$/)]", 40, "query_error"},
      {"tokenize($.a, '(a*)*b')", 40, "query_error"},
  };
  on_a_small_stack([&] {
    for (const auto& [expression, length, expected] : cases) {
      EXPECT_EQ(query(document(length), expression), expected) << expression;
    }
  });
  EXPECT_EQ(query("{\"" + std::string(300'000, 'a') + "\":1}", "tokenize(keys($)[0], 'b')"),
            "query_error");
}

// How far the memory in use has risen above what it was when this was made, in bytes.
class memory_peak {
 public:
  memory_peak() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;  // the highest value is the current one again
    before_ = read("VmRSS:");
  }
  long rise() const { return read("VmHWM:") - before_; }

 private:
  static long read(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != name) {
    }
    long kibibytes = 0;
    status >> kibibytes;
    return kibibytes * 1024;
  }
  long before_;
};

TEST(hostile_document_test, no_expression_takes_long_or_much_memory_on_any_document) {
  const auto list = [](const std::string& element, std::size_t times) {
    return "[" + repeated(element + ",", times) + "1]";
  };
  const auto string_of = [&](const std::string& text) { return "{\"s\":\"" + text + "\"}"; };
  const std::string ones = list("1", 1'000'000);
  const std::string words = list("\"" + repeated("a", 30) + "\"", 60'000);
  const std::string rows = "{\"d\":" + list("{\"t\":2,\"n\":3}", 8'000) + "}";
  const std::string deep = nested_objects(250, "\"" + std::string(1'000'000, 'x') + "\"");
  const std::string bush = list(repeated("[", 200) + list("1", 300) + repeated("]", 200), 2'000);
  const std::string bottom = nested_objects(240, "{\"z\":[1]}");
  const std::string objects = list("{\"a\":1}", 1'000'000);
  std::string wide = "{\"z\":1";
  for (int at = 0; at < 200'000; ++at) {
    wide += ",\"k" + std::to_string(at) + "\":1";
  }
  wide = repeated("{\"a\":", 8) + wide + repeated("}", 9);
  const std::string digits = string_of(std::string(16'000'000, '1'));
  const std::string name(7'000'000, 'k');
  const std::string long_names = "{\"o\":{\"" + name + "\":[1]},\"p\":{\"" + name +
                                 "\":[2]},\"z\":" + list("[[1]]", 50'000) + "}";
  const std::string long_numbers = list(std::string(7'000'000, '9'), 2);
  const struct {
    const std::string& document;
    std::string expression;
    std::string expected;
  } cases[] = {
      // A function or path that starts at the root is evaluated once and not for each element.
      {rows, "$.d[?(@.t == max($.d[*].t))].n", "8000"},
      {ones, "$[?(@ == max($) && 2 < sum($))]", "query_error"},
      {list("1", 20'000), "$[?(@ == max($) && 2 < sum($))]", "20001"},
      {list("1", 20'000), "$[?(contains($, max($[?(@ == $[0])])))]", "20001"},
      {list(list("1", 300), 300), "$[?(max(@) < length($[?(count(@) < 1)]))]", "query_error"},
      {ones, "$..x", "0"},
      {ones, "$[" + repeated("*,", 400) + "*]", "query_error"},
      {ones, "$[" + repeated("::3,", 200) + "::3]", "query_error"},
      {ones, "$[*][" + repeated("'a',", 200) + "'a']", "query_error"},
      {ones, "$[?(@" + repeated("+@", 480) + ">1)]", "query_error"},
      {"[1,2,3]", "$[1::9223372036854775807]", "1"},
      {"[1,2,3]", "$[::-9223372036854775808]", "1"},
      {nested_objects(20), "$..a..a..a", "1140"},
      {nested_objects(250), "$..a..a..a..a", "query_error"},
      {bush, "$..*..*..*", "query_error"},
      {bush, "$..*^..*^..*", "query_error"},
      {bush, "$[?(" + repeated("@ == $[0] && ", 70) + "@ == $[1])]", "query_error"},
      {deep, "$..a", "query_error"},
      {deep, "sum($..a)", "query_error"},
      {deep, "$[?(@..a)]", "query_error"},
      {bottom, repeated("$..z[?(", 110) + "1" + repeated(")]", 110), "query_error"},
      // What eval makes of a text counts like the text, and as often.
      {string_of(repeated("{\\\"a\\\":", 200) + "1" + repeated("}", 200)), "eval($.s)..a..a..a",
       "query_error"},
      {string_of(list("[]", 1'000'000)), "eval($.s)", "query_error"},
      {list("\"" + list("1", 10'000) + "\"", 400), "$[?(length(eval(@)) > 1)]", "query_error"},
      {string_of(list("1", 10'000)), "length(eval($.s))", "1"},
      // Regular expressions, also where no character is read.
      {words, "$[?(@ =~ /^([a-z]+ ?)*!$/)]", "query_error"},
      {"[\"\"]", "$[?(@ =~ /" + repeated("(|)", 120) + "x/)]", "query_error"},
      {"[\"a\"]", "$[?(@ =~ /(|){20000}x/)]", "query_error"},
      {"[\"a\"]", "$[?(@ =~ /(a{30}b){30}x/)]", "query_error"},
      {"[\"12ab\"]", "$[?(@ =~ /^([0-9]{2}[a-f]{2}){1,30}$/)]", "1"},
      {list("\"" + repeated("[^a]", 100) + "\"", 2'000), "$[?(tokenize('x', @))]", "query_error"},
      {"[\"\"]", "$[?(@ =~ / {90000}/)]", "query_error"},
      // The library reads no character for a reference to a group that has matched nothing.
      {"[\"b\"]", "$[?(@ =~ /(q)?" + repeated("(|)", 60) + "\\1/)]", "query_error"},
      {string_of("(q)?" + repeated("(|)", 60) + "\\\\1"), "tokenize('b', $.s)", "query_error"},
      // Long names.
      {long_names, "$.z[?($.o == $.p)]", "query_error"},
      {long_names, "$.*.*.*^[0]", "query_error"},
      {long_names, "length($[" + repeated("*,", 200) + "*])", "query_error"},
      {wide, "$" + repeated("['a','a','a','a','a','a','a']", 8) + ".k9", "query_error"},
      // Long texts and long numbers.
      {objects, "starts_with($, 'a')", "query_error"},
      {objects, "ends_with($, 'a')", "query_error"},
      {digits, "choose(" + repeated("number($.s),", 60) + "1)", "query_error"},
      {digits, "choose(" + repeated("eval($.s),", 60) + "1)", "query_error"},
      {digits, "choose(" + repeated("max($['s','s']),", 60) + "1)", "query_error"},
      {digits, "$[" + repeated("'s',", 200) + "'s']", "query_error"},
      {digits, "$[?(contains($.s, $.s)" + repeated(" && contains($.s, '12')", 20) + ")]",
       "query_error"},
      {string_of(std::string(4'000'000, 'a')), "$[?(length($.s) + $.s.length + length(@) > 1)]",
       "1"},
      {words, "$[?(contains($, length(@)))]", "query_error"},
      {string_of(std::string(4'000'000, 'a')), "contains($.s, '" + std::string(900, 'a') + "b')",
       "1"},
      {long_numbers, "$[?(" + repeated("@ > $[0] || ", 40) + "@ == $[1])]", "query_error"},
      // The budget ends within a comparison, which must not throw.
      {list("1e-400", 2'000'000), "$[?(@ > 0 || @ > 0)]", "query_error"},
  };
  for (const auto& [document, expression, expected] : cases) {
    const jsonpath_parser parser(document);
    const memory_peak peak;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(outcome_class([&] { return parser.query_list(expression).size(); }), expected)
        << expression;
    // The bound is on steps; this is for those that have none, on any machine.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << expression;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(peak.rise(), 72 * 1024 * 1024) << expression;
#endif
  }
}

TEST(hostile_document_test, ordinary_filters_go_through_the_largest_documents) {
  constexpr int readings = 200'000;
  std::string document = "[";
  for (int at = 0; at < readings; ++at) {
    const auto row = std::to_string(at % 100);
    document += "{\"id\":\"senso-" + row + "\",\"n\":\"" + row + ".5\",\"t\":" + row +
                ".1,\"ts\":\"2026-11-22T06:" + row + "\"},";
  }
  document.back() = ']';
  const jsonpath_parser parser(document);
  const struct {
    std::string filter;
    std::size_t of_a_hundred;
  } cases[] = {{"@.t > 20 && @.t < 22", 2},
               {"@.t == max($[*].t)", 1},
               {"abs(@.t - 20) < 0.2", 1},
               {"number(@.n) > 98", 2},
               {"to_number(@.n) > 98", 2},
               {"eval(@.n) > 98", 2},
               {"eval(@.id) == 'senso-7'", 1},
               {"length(@.id) > 7", 90},
               {"starts_with(@.ts, '2026-11-22T06:9')", 11},
               {"ends_with(@.id, '7')", 10},
               {"contains(@.ts, '06:9')", 11},
               {"choose(@.id, 'senso-7', 1, 0) == 1", 1},
               {"tokenize(@.id, '-')[1] == '7'", 1},
               {"@.id =~ /7$/", 10}};
  for (const auto& [filter, of_a_hundred] : cases) {
    EXPECT_EQ(outcome([&] { return parser.query_list("$[?(" + filter + ")].n").size(); }),
              std::to_string(of_a_hundred * readings / 100))
        << filter;
  }
}

TEST(hostile_document_test, random_bytes_and_spoiled_documents_end_in_a_value_or_a_failure) {
  const std::string good =
      R"([{"a":1,"b":"x\u0041","c":[1.5e3,-0,true,null]},{"a":99999999999999999999,"b":"[1]"}])";
  const std::string good_query = "$[?(@.a > 0 && @.b =~ /x.*/)].c[0:2]";
  std::mt19937 random(1883);
  const auto spoiled = [&](std::string text) {
    for (auto changes = random() % 4; changes > 0; --changes) {
      const auto at = random() % text.size();
      if (random() % 2 == 0) {
        text[at] = static_cast<char>(random());
      } else {
        text.insert(at, 1, "[]{}()\",:.*?@$'!=0e-"[random() % 20]);
      }
    }
    return text;
  };
  int parsed = 0;
  for (int round = 0; round < 4'000; ++round) {
    const auto document = spoiled(good);
    const auto expression = spoiled(good_query);
    const auto result = query(document, expression);
    ASSERT_NE(result, "other failure") << document << "\n" << expression;
    parsed += result == "parse_error" ? 0 : 1;
    ASSERT_NE(outcome_class([&] {
                return case_insensitive_jsonpointer_parser(document).query_string("0.C.1");
              }),
              "other failure")
        << document;
  }
  EXPECT_GT(parsed, 500) << "most documents are too broken to test a query";
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libjsonparser
