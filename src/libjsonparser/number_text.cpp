#include "libjsonparser/number_text.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

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

// The power of ten of the first digit that is not zero, of a number without a sign.
std::int64_t decimal_order(std::string_view number) {
  const auto mark = std::min(number.find_first_of("eE"), number.size());
  const auto digits = number.substr(0, mark);
  const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
  const auto first = static_cast<std::int64_t>(digits.find_first_not_of("0."));
  std::int64_t exponent = 0;
  if (mark < number.size()) {
    auto text = number.substr(mark + 1);
    const bool negative = take_sign(text);
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), exponent);
    // No text is so long that its digits could make up for such an exponent.
    constexpr auto beyond = std::numeric_limits<std::int64_t>::max() / 2;
    exponent = error == std::errc() ? std::min(exponent, beyond) : beyond;
    exponent = negative ? -exponent : exponent;
  }
  return (first < point ? point - first - 1 : point - first) + exponent;
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

std::optional<double> leading_float(std::string_view text) {
  skip_blanks(text);
  const bool negative = take_sign(text);
  if (text.empty() || !(is_digit(text.front()) || text.front() == '.')) {
    return std::nullopt;
  }
  const auto* const end = text.data() + text.size();
  double value = 0;
  std::from_chars_result result{};
  if (starts_hexadecimal(text)) {
    result = std::from_chars(text.data() + 2, end, value, std::chars_format::hex);
    if (result.ec == std::errc::invalid_argument) {  // "0x.y" is a zero and a rest
      result.ec = std::errc();
    }
  } else {
    result = std::from_chars(text.data(), end, value);
  }
  if (result.ec != std::errc() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return negative ? -value : value;
}

double nearest_double(std::string_view number) noexcept {
  double value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec != std::errc::result_out_of_range) {
    return value;
  }
  const bool negative = take_sign(number);
  const double magnitude = decimal_order(number) < 0 ? 0 : std::numeric_limits<double>::infinity();
  return negative ? -magnitude : magnitude;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
