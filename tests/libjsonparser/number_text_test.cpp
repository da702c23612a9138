#include "libjsonparser/number_text.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <string>

namespace brunvik::monitoring_modules::libjsonparser {
namespace {

constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
constexpr auto largest = std::numeric_limits<std::int64_t>::max();

TEST(leading_integer_test, reads_the_digits_at_the_beginning_and_nothing_that_would_mislead) {
  const struct {
    std::string text;
    std::optional<std::int64_t> expected;
  } cases[] = {
      {"4x", 4},
      {" \t\n+7 degrees", 7},
      {"-0012", -12},
      {"2.5", 2},
      {"21.", 21},
      {"5 e3", 5},
      {"9223372036854775807", largest},
      {"-9223372036854775808", smallest},
      {"9223372036854775808", std::nullopt},
      {"-9223372036854775809", std::nullopt},
      {"", std::nullopt},
      {"-", std::nullopt},
      {"+-5", std::nullopt},
      {".5", std::nullopt},
      {"inf", std::nullopt},
      {"1e300", std::nullopt},
      {"1.5E+2", std::nullopt},
      {"0x10", std::nullopt},
      {std::string("\0001", 2), std::nullopt},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(leading_integer(text), expected) << text;
  }
}

std::optional<double> value_of(const std::optional<leading_number>& number) {
  return number ? std::optional(number->value) : std::nullopt;
}

TEST(leading_float_test, reads_the_number_at_the_beginning) {
  const struct {
    std::string text;
    std::optional<double> expected;
  } cases[] = {
      {"2.5", 2.5},
      {" -2.5e-3V", -0.0025},
      {"1,5", 1.0},
      {"0x1p4", 16.0},
      {"0xyz", 0.0},
      {"5e-324", 5e-324},
      {"1.7976931348623157e308", 1.7976931348623157e308},
      {"1e400", std::nullopt},
      {"1e-400", std::nullopt},
      {"inf", std::nullopt},
      {"NaN", std::nullopt},
      {"", std::nullopt},
      {"e5", std::nullopt},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(value_of(leading_float(text)), expected) << text;
  }
}

TEST(leading_float_test, agrees_with_the_standard_conversion_on_random_texts) {
  std::mt19937 random(754);
  const std::string characters = "0123456789..eE+- x";
  const auto c_locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
  for (int round = 0; round < 100'000; ++round) {
    std::string text(random() % 12, ' ');
    for (auto& character : text) {
      character = characters[random() % characters.size()];
    }
    char* end = nullptr;
    errno = 0;
    const double value = ::strtod_l(text.c_str(), &end, c_locale);
    const bool nothing = end == text.c_str() || std::isinf(value) || (errno != 0 && value == 0);
    const auto expected = nothing ? std::nullopt : std::optional<double>(value);
    ASSERT_EQ(value_of(leading_float(text)), expected) << text;
  }
  ::freelocale(c_locale);
}

TEST(nearest_double_test, knows_at_which_end_a_number_is_out_of_range) {
  const auto infinity = std::numeric_limits<double>::infinity();
  const struct {
    std::string text;
    double expected;
  } cases[] = {
      {"1e400", infinity},
      {"1e-400", 0},
      {"0.1e99999999999999999999", infinity},
      {"0.1e-99999999999999999999", 0},
      {"1" + std::string(500, '0'), infinity},
      {"1" + std::string(500, '0') + "e-500", 1},
      {"0." + std::string(500, '0') + "1", 0},
      {"0." + std::string(500, '0') + "1e+1000", infinity},
      {"0.0e-400", 0},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(nearest_double(text), expected) << text;
  }
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libjsonparser
