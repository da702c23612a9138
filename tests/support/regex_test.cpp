#include <gtest/gtest.h>

#include <string>
#include <typeindex>

#include "liblog/memory_logger.hpp"
#include "liblog/severity.hpp"
#include "libregex/compile.hpp"
#include "libregex/exceptions.hpp"

namespace brunvik::monitoring_modules::libregex {
namespace {

TEST(compile_test, tells_what_is_wrong_with_a_pattern) {
  using namespace exceptions;
  const std::pair<std::string, std::type_index> cases[] = {
      {"[[:nonsense:]]", typeid(regex_character_class)},
      {"[[.nonsense.]]", typeid(regex_character_class)},
      {"\\", typeid(regex_escape_sequence)},
      {"(a)\\2", typeid(regex_backreference)},
      {"a[b", typeid(regex_brackets)},
      {"(a", typeid(regex_parentheses)},
      {"a{1", typeid(regex_braces)},
      {"a{2,1}", typeid(regex_braces_content)},
      {"[z-a]", typeid(regex_character_range)},
      {std::string(longest_pattern + 1, 'a'), typeid(regex_invalid)},
      {"((((a{100}){100}){100}){100}){100}", typeid(regex_invalid)},
  };
  for (const auto& [pattern, type] : cases) {
    SCOPED_TRACE(pattern);
    liblog::memory_logger log;
    try {
      (void)compile(log, pattern);
      ADD_FAILURE() << "is compiled";
    } catch (const regex_invalid& failure) {
      EXPECT_EQ(std::type_index(typeid(failure)), type);
      EXPECT_NE(std::string(failure.what()).find("\"" + pattern + "\""), std::string::npos);
    }
    const auto lines = log.entries();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].severity, liblog::severity::error);
    EXPECT_TRUE(lines[0].message.starts_with("Regex error: ")) << lines[0].message;
    EXPECT_TRUE(lines[0].message.ends_with(". Pattern used: " + pattern)) << lines[0].message;
  }
}

TEST(compile_test, a_valid_pattern_is_compiled_with_its_flags_in_silence) {
  liblog::memory_logger log;
  const std::string longest(longest_pattern, 'a');
  EXPECT_TRUE(std::regex_match("AAB", compile(log, "a+b", std::regex::icase)));
  EXPECT_TRUE(std::regex_match(longest, compile(log, longest)));
  EXPECT_TRUE(log.entries().empty());
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libregex
