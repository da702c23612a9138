#include "libjsonparser/number_text.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include "libjsonparser/decimal_text.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

void skip_blanks(std::string_view& text) {
  const auto begin = text.find_first_not_of(" \t\n\v\f\r");
  text.remove_prefix(begin == std::string_view::npos ? text.size() : begin);
}

// True for a minus.
bool take_sign(std::string_view& text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  return negative;
}

bool starts_hexadecimal(std::string_view text) {
  return (text.starts_with("0x") || text.starts_with("0X")) && text.size() > 2 &&
         std::string_view("0123456789abcdefABCDEF.").find(text[2]) != std::string_view::npos;
}

// Whether what follows the digits makes another number of them: an exponent with digits.
bool continues_with_exponent(std::string_view rest) {
  if (!rest.starts_with('e') && !rest.starts_with('E')) {
    return false;
  }
  rest.remove_prefix(1);
  take_sign(rest);
  return !rest.empty() && is_digit(rest.front());
}

std::string_view without_fraction(std::string_view rest) {
  if (rest.starts_with('.')) {
    rest.remove_prefix(1);
    while (!rest.empty() && is_digit(rest.front())) {
      rest.remove_prefix(1);
    }
  }
  return rest;
}

}  // namespace

std::optional<std::int64_t> leading_integer(std::string_view text) {
  skip_blanks(text);
  const bool negative = take_sign(text);
  if (text.empty() || !is_digit(text.front()) || starts_hexadecimal(text)) {
    return std::nullopt;
  }
  std::uint64_t magnitude = 0;
  const auto* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, magnitude);
  const std::uint64_t largest = std::uint64_t{INT64_MAX} + (negative ? 1 : 0);
  if (error != std::errc() || magnitude > largest ||
      continues_with_exponent(without_fraction({rest, static_cast<std::size_t>(end - rest)}))) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(negative ? std::uint64_t{0} - magnitude : magnitude);
}

std::optional<leading_number> leading_float(std::string_view text) {
  skip_blanks(text);
  const bool negative = take_sign(text);
  if (text.empty() || !(is_digit(text.front()) || text.front() == '.')) {
    return std::nullopt;
  }
  const auto* const end = text.data() + text.size();
  leading_number number;
  std::from_chars_result result{};
  if (starts_hexadecimal(text)) {
    result = std::from_chars(text.data() + 2, end, number.value, std::chars_format::hex);
    if (result.ec == std::errc::invalid_argument) {  // "0x.y" is a zero and a rest
      result.ec = std::errc();
    }
  } else {
    result = std::from_chars(text.data(), end, number.value);
    number.digits = text.substr(0, static_cast<std::size_t>(result.ptr - text.data()));
  }
  if (result.ec != std::errc() || !std::isfinite(number.value)) {
    return std::nullopt;
  }
  number.value = negative ? -number.value : number.value;
  return number;
}

std::optional<std::string> whole_number(std::string_view text) {
  skip_blanks(text);
  const std::string sign = take_sign(text) ? "-" : "";
  const auto last = text.find_last_not_of(" \t\n\v\f\r");
  text = text.substr(0, last == std::string_view::npos ? 0 : last + 1);
  const auto skip_digits = [&text] {
    const auto count = std::min(text.find_first_not_of("0123456789"), text.size());
    const auto digits = text.substr(0, count);
    text.remove_prefix(count);
    return digits;
  };
  auto whole = skip_digits();
  std::string_view fraction;
  if (text.starts_with('.')) {
    text.remove_prefix(1);
    fraction = skip_digits();
  }
  const auto exponent = text;
  if ((whole.empty() && fraction.empty()) || !(text.empty() || continues_with_exponent(text))) {
    return std::nullopt;
  }
  if (!text.empty()) {
    text.remove_prefix(1);
    take_sign(text);
    skip_digits();
  }
  if (!text.empty()) {
    return std::nullopt;
  }
  whole.remove_prefix(std::min(whole.find_first_not_of('0'), whole.size()));
  return sign + std::string(whole.empty() ? "0" : whole) + (fraction.empty() ? "" : ".") +
         std::string(fraction) + std::string(exponent);
}

double nearest_double(std::string_view number) noexcept {
  double value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec != std::errc::result_out_of_range) {
    return value;
  }
  const bool negative = number.starts_with('-');
  const double magnitude =
      decimal(number).truncated() == 0 ? 0 : std::numeric_limits<double>::infinity();
  return negative ? -magnitude : magnitude;
}

bool may_stand_for(double value, std::string_view number) {
  return std::abs(value) < first_inexact_integer &&
         (std::trunc(value) != value || decimal(number).is_whole());
}

}  // namespace brunvik::monitoring_modules::libjsonparser
