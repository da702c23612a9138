#include "libjsonparser/jsonpath_expressions.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "libjsonparser/exceptions.hpp"
#include "libjsonparser/jsonpath_parser.hpp"

namespace brunvik::monitoring_modules::libjsonparser {
namespace {

TEST(jsonpath_expressions_test, compiles_an_expression_once_for_all_documents) {
  const auto expressions = std::make_shared<jsonpath_expressions>();
  for (int value = 0; value < 20; ++value) {
    const jsonpath_parser parser("{\"a\":" + std::to_string(value) + "}", expressions);
    EXPECT_EQ(parser.query_integer("$.a"), value);
    EXPECT_EQ(parser.query_string("$['a']"), std::to_string(value));
    EXPECT_THROW((void)parser.query_integer("$["), exceptions::query_error);
  }
  EXPECT_EQ(expressions->compilations(), 2U);
  EXPECT_EQ(expressions->size(), 2U) << "a malformed one is not kept";
}

TEST(jsonpath_expressions_test, lets_go_of_the_one_that_was_unused_for_longest) {
  jsonpath_expressions expressions(2);
  const auto first = expressions.compile("$.a");
  (void)expressions.compile("$.b");
  EXPECT_EQ(expressions.compile("$.a"), first);
  (void)expressions.compile("$.c");
  EXPECT_EQ(expressions.size(), 2U);
  EXPECT_EQ(expressions.compile("$.a"), first);
  EXPECT_EQ(expressions.compilations(), 3U);
  (void)expressions.compile("$.b");
  EXPECT_EQ(expressions.compilations(), 4U);

  jsonpath_expressions none(0);
  (void)none.compile("$.a");
  EXPECT_EQ(none.size(), 0U);
}

TEST(jsonpath_expressions_test, serves_many_threads_while_it_overflows) {
  const auto expressions = std::make_shared<jsonpath_expressions>(3);
  std::vector<std::jthread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, number] {
      for (int round = 0; round < 300; ++round) {
        const auto expected = std::to_string((number + round) % 8);
        const jsonpath_parser parser("{\"m" + expected + "\":" + expected + "}", expressions);
        EXPECT_EQ(parser.query_string("$[?(@ == " + expected + ")]"), expected);
        EXPECT_EQ(parser.query_string("eval('" + expected + "')"), expected);
        EXPECT_EQ(parser.query_string("$[?(@ =~ /nothing/ || 1)]"), expected);
      }
    });
  }
  threads.clear();
  EXPECT_EQ(expressions->size(), 3U);
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libjsonparser
