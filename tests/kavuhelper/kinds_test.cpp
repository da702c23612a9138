#include "kavuhelper/settings/kinds.hpp"

#include <gtest/gtest.h>

#include <locale>
#include <string>

#include "kavuhelper/failure_text.hpp"
#include "kavuhelper/utils/exceptions.hpp"

namespace kavu_test {
namespace {

namespace failures = brunvik::monitoring_modules::libkavuhelper::utils::exceptions;
using namespace brunvik::monitoring_modules::libkavuhelper::settings;
using std::string_view_literals::operator""sv;

constexpr validation_rules port{1, true, 65535, true};

TEST(kind_integer, takes_whole_decimal_numbers_within_the_limits_that_are_set) {
  const std::pair<std::string_view, std::int64_t> good[] = {{"-0", 0},
                                                            {"007", 7},
                                                            {"9223372036854775807", INT64_MAX},
                                                            {"-9223372036854775808", INT64_MIN}};
  for (const auto& [text, number] : good) {
    EXPECT_EQ(kind_integer::parse_and_validate(text), number) << text;
  }
  EXPECT_EQ(kind_integer::parse_and_validate("", port), std::nullopt);
  for (const auto text : {" 1"sv, "1 "sv, "+1"sv, "1.0"sv, "1e3"sv, "0x10"sv, "-"sv, "1,000"sv,
                          "1\0"sv, "9223372036854775808"sv, "\xd9\xa1"sv}) {
    EXPECT_THROW((void)kind_integer::parse_and_validate(text), failures::setting_invalid) << text;
  }
  for (const auto& [text, rules] :
       {std::pair{"1", port}, {"65535", port}, {"-9", {1, false}}, {"99", {1, true, 2, false}}}) {
    EXPECT_TRUE(kind_integer::parse_and_validate(text, rules)) << text;
  }
  EXPECT_EQ(failure_text<failures::setting_invalid_less_min>(
                [] { (void)kind_integer::parse_and_validate("0", port); }),
            "Setting value 0 is less than the allowed value of 1.");
  EXPECT_EQ(failure_text<failures::setting_invalid_bigger_max>(
                [] { (void)kind_integer::parse_and_validate("65536", port); }),
            "Setting value 65536 is bigger than the allowed value of 65535.");
}

void check_floats() {
  const std::pair<const char*, double> good[] = {{"1", 1.0},   {"-2.5", -2.5}, {".5", 0.5},
                                                 {"1e3", 1e3}, {"1.", 1.0},    {"1E-2", 0.01}};
  for (const auto& [text, number] : good) {
    EXPECT_EQ(kind_float::parse_and_validate(text), number) << text;
  }
  for (const char* text :
       {"", " 1", "1 ", "1,5", "-inf", "INFINITY", "nan", "nan(1)", "1e999", "0x1p3", "e5", "1e"}) {
    EXPECT_THROW((void)kind_float::parse_and_validate(text), failures::setting_invalid) << text;
  }
  EXPECT_THROW((void)kind_float::parse_and_validate("0.99", port),
               failures::setting_invalid_less_min);
  EXPECT_THROW((void)kind_float::parse_and_validate("65535.1", port),
               failures::setting_invalid_bigger_max);
}

struct decimal_comma : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
};

TEST(kind_float, takes_finite_numbers_whatever_the_locale) {
  check_floats();
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), new decimal_comma));
  check_floats();
  std::locale::global(previous);
}

TEST(text_kinds, limit_lengths_and_tell_nothing_of_a_secret) {
  EXPECT_EQ(kind_string::parse_and_validate("\0\xff"sv), "\0\xff"sv);
  EXPECT_EQ(failure_text<failures::string_too_long>([] {
              (void)kind_string::parse_and_validate("abcd", {0, false, 3, true});
            }),
            "kind_string's value with length 4 is longer than the maximum allowed length of 3.");
  const secure_string secret("hunter2");
  EXPECT_EQ(kind_securestring::parse_and_validate(secret), secret);
  for (const validation_rules& rules :
       {validation_rules{0, false, 3, true}, validation_rules{9, true, 0, false}}) {
    const std::string told = failure_text<failures::exception>(
        [&] { (void)kind_securestring::parse_and_validate(secret, rules); });
    EXPECT_NE(told.find("********"), std::string::npos) << told;
    EXPECT_EQ(told.find("hunter2"), std::string::npos) << told;
  }
}

}  // namespace
}  // namespace kavu_test
