#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "liblog/memory_logger.hpp"
#include "liblog/severity.hpp"
#include "libregex/compile.hpp"
#include "libregex/exceptions.hpp"

namespace brunvik::monitoring_modules::libregex {
namespace {

template <class Failure>
bool throws(const std::string& pattern) {
  liblog::memory_logger log;
  try {
    (void)compile(log, pattern);
  } catch (const Failure& failure) {
    const auto lines = log.entries();
    EXPECT_EQ(lines.size(), 1U) << pattern;
    EXPECT_EQ(lines.front().severity, liblog::severity::error) << pattern;
    EXPECT_TRUE(lines.front().message.starts_with("Regex error: ")) << lines.front().message;
    EXPECT_TRUE(lines.front().message.ends_with(". Pattern used: " + pattern))
        << lines.front().message;
    EXPECT_NE(std::string(failure.what()).find("\"" + pattern + "\""), std::string::npos)
        << failure.what();
    return typeid(failure) == typeid(Failure);
  }
  return false;
}

TEST(compile_test, tells_what_is_wrong_with_a_pattern) {
  using namespace exceptions;
  const struct {
    std::string pattern;
    std::function<bool(const std::string&)> fails_as_expected;
  } cases[] = {
      {"[[:nonsense:]]", throws<regex_character_class>},
      {"[[.nonsense.]]", throws<regex_character_class>},
      {"\\", throws<regex_escape_sequence>},
      {"(a)\\2", throws<regex_backreference>},
      {"a[b", throws<regex_brackets>},
      {"(a", throws<regex_parentheses>},
      {"a{1", throws<regex_braces>},
      {"a{2,1}", throws<regex_braces_content>},
      {"[z-a]", throws<regex_character_range>},
      {std::string(longest_pattern + 1, 'a'), throws<regex_invalid>},
      {"((((a{100}){100}){100}){100}){100}", throws<regex_invalid>},
  };
  for (const auto& [pattern, fails_as_expected] : cases) {
    EXPECT_TRUE(fails_as_expected(pattern)) << pattern;
  }
}

TEST(compile_test, a_valid_pattern_is_compiled_with_its_flags_in_silence) {
  liblog::memory_logger log;
  const auto expression = compile(log, "a+b", std::regex::icase | std::regex::ECMAScript);
  EXPECT_TRUE(std::regex_match("AAB", expression));
  EXPECT_TRUE(std::regex_match(std::string(longest_pattern, 'a'),
                               compile(log, std::string(longest_pattern, 'a'))));
  EXPECT_TRUE(log.entries().empty());
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libregex
