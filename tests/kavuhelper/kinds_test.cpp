#include "kavuhelper/settings/kinds.hpp"

#include <gtest/gtest.h>

#include <clocale>
#include <locale>
#include <string>

#include "kavuhelper/utils/exceptions.hpp"

namespace kavu_test {
namespace {

namespace failures = brunvik::monitoring_modules::libkavuhelper::utils::exceptions;
namespace settings = brunvik::monitoring_modules::libkavuhelper::settings;
using settings::validation_rules;
using std::string_view_literals::operator""sv;

constexpr validation_rules port{1, true, 65535, true};

TEST(kind_integer, takes_whole_decimal_numbers) {
  const std::pair<const char*, std::int64_t> good[] = {{"0", 0},
                                                       {"-0", 0},
                                                       {"007", 7},
                                                       {"1883", 1883},
                                                       {"-5", -5},
                                                       {"9223372036854775807", INT64_MAX},
                                                       {"-9223372036854775808", INT64_MIN}};
  for (const auto& [text, number] : good) {
    EXPECT_EQ(settings::kind_integer::parse_and_validate(text), number) << text;
  }
  EXPECT_EQ(settings::kind_integer::parse_and_validate("", port), std::nullopt);
  for (const auto text :
       {" 1"sv, "1 "sv, "+1"sv, "1.0"sv, "1e3"sv, "0x10"sv, "-"sv, "--1"sv, "1,000"sv, "yes"sv,
        "1\0"sv, "9223372036854775808"sv, "99999999999999999999999"sv, "\xd9\xa1"sv}) {
    EXPECT_THROW((void)settings::kind_integer::parse_and_validate(text), failures::setting_invalid)
        << text;
  }
}

TEST(kind_integer, checks_only_the_limits_that_are_set) {
  EXPECT_EQ(settings::kind_integer::parse_and_validate("1", port), 1);
  EXPECT_EQ(settings::kind_integer::parse_and_validate("65535", port), 65535);
  EXPECT_EQ(settings::kind_integer::parse_and_validate("-9", {1, false, 2, false}), -9);
  EXPECT_EQ(settings::kind_integer::parse_and_validate("99", {1, true, 2, false}), 99);
  try {
    (void)settings::kind_integer::parse_and_validate("0", port);
    FAIL() << "not refused";
  } catch (const failures::setting_invalid_less_min& failure) {
    EXPECT_STREQ(failure.what(), "Setting value 0 is less than the allowed value of 1.");
  }
  try {
    (void)settings::kind_integer::parse_and_validate("65536", port);
    FAIL() << "not refused";
  } catch (const failures::setting_invalid_bigger_max& failure) {
    EXPECT_STREQ(failure.what(), "Setting value 65536 is bigger than the allowed value of 65535.");
  }
}

void check_floats() {
  const std::pair<const char*, double> good[] = {{"1", 1.0},     {"-2.5", -2.5}, {".5", 0.5},
                                                 {"1e3", 1e3},   {"0", 0.0},     {"1.", 1.0},
                                                 {"1E-2", 0.01}, {"0.1", 0.1}};
  for (const auto& [text, number] : good) {
    EXPECT_EQ(settings::kind_float::parse_and_validate(text), number) << text;
  }
  for (const char* text : {"", " 1", "1 ", "+1", "1,5", "inf", "-inf", "INFINITY", "nan", "nan(1)",
                           "1e999", "0x1p3", "e5", "1e", "one"}) {
    EXPECT_THROW((void)settings::kind_float::parse_and_validate(text), failures::setting_invalid)
        << text;
  }
  EXPECT_THROW((void)settings::kind_float::parse_and_validate("0.99", {1, true, 0, false}),
               failures::setting_invalid_less_min);
  EXPECT_THROW((void)settings::kind_float::parse_and_validate("2.01", {0, false, 2, true}),
               failures::setting_invalid_bigger_max);
}

TEST(kind_float, takes_finite_decimal_numbers) {
  check_floats();
}

struct decimal_comma : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(kind_float, does_not_depend_on_the_locale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // where the system has it
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), new decimal_comma));
  check_floats();
  EXPECT_THROW((void)settings::kind_integer::parse_and_validate("10001", {0, false, 10000, true}),
               failures::setting_invalid_bigger_max);
  std::locale::global(previous);
  std::setlocale(LC_ALL, before.c_str());
}

TEST(kind_string, takes_any_bytes_of_the_allowed_length) {
  EXPECT_EQ(settings::kind_string::parse_and_validate("\0\xff"sv), "\0\xff"sv);
  try {
    (void)settings::kind_string::parse_and_validate("abcd", {0, false, 3, true});
    FAIL() << "not refused";
  } catch (const failures::string_too_long& failure) {
    EXPECT_STREQ(failure.what(),
                 "kind_string's value with length 4 is longer than the maximum allowed length of "
                 "3.");
  }
}

TEST(kind_securestring, a_failure_tells_nothing_of_the_value) {
  const settings::secure_string secret("hunter2");
  EXPECT_EQ(settings::kind_securestring::parse_and_validate(secret), secret);
  for (const validation_rules& rules :
       {validation_rules{0, false, 3, true}, validation_rules{9, true, 0, false}}) {
    try {
      (void)settings::kind_securestring::parse_and_validate(secret, rules);
      FAIL() << "not refused";
    } catch (const failures::exception& failure) {
      const std::string told = failure.message().key() + failure.what();
      EXPECT_EQ(told.find("hunter2"), std::string::npos) << told;
      EXPECT_EQ(told.find('7'), std::string::npos) << told;
    }
  }
}

}  // namespace
}  // namespace kavu_test
