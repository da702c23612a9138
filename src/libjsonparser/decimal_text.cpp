#include "libjsonparser/decimal_text.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

std::int64_t exponent_of(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  // No text is so long that its digits could make up for such an exponent.
  constexpr auto beyond = std::numeric_limits<std::int64_t>::max() / 2;
  std::int64_t exponent = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), exponent);
  exponent = result.ec == std::errc() ? std::min(exponent, beyond) : beyond;
  return negative ? -exponent : exponent;
}

// The power of ten of the digit at `index`, when the point or the end is at `point`.
std::int64_t power(std::size_t index, std::size_t point) {
  const auto distance = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(index);
  return distance > 0 ? distance - 1 : distance;
}

char next_digit(std::string_view& digits) {
  if (digits.starts_with('.')) {
    digits.remove_prefix(1);
  }
  if (digits.empty()) {
    return '0';
  }
  const char digit = digits.front();
  digits.remove_prefix(1);
  return digit;
}

}  // namespace

decimal::decimal(std::string_view number) : negative_(number.starts_with('-')) {
  if (negative_ || number.starts_with('+')) {
    number.remove_prefix(1);
  }
  const auto mark = std::min(number.find_first_of("eE"), number.size());
  const auto digits = number.substr(0, mark);
  const auto first = digits.find_first_not_of("0.");
  if (first == std::string_view::npos) {
    return;
  }
  const auto last = digits.find_last_not_of("0.");
  const auto point = std::min(digits.find('.'), digits.size());
  const auto exponent = mark < number.size() ? exponent_of(number.substr(mark + 1)) : 0;
  digits_ = digits.substr(first, last - first + 1);
  highest_ = power(first, point) + exponent;
  lowest_ = power(last, point) + exponent;
}

std::optional<std::int64_t> decimal::truncated() const {
  constexpr std::int64_t highest_of_64_bits = 18;
  if (is_zero() || highest_ < 0) {
    return 0;
  }
  if (highest_ > highest_of_64_bits) {
    return std::nullopt;
  }
  std::uint64_t magnitude = 0;
  auto rest = digits_;
  for (auto left = highest_ + 1; left > 0; --left) {
    magnitude = magnitude * 10 + static_cast<std::uint64_t>(next_digit(rest) - '0');
  }
  const std::uint64_t largest = std::uint64_t{INT64_MAX} + (negative_ ? 1 : 0);
  if (magnitude > largest) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(negative_ ? std::uint64_t{0} - magnitude : magnitude);
}

int decimal::compare(const decimal& other) const {
  if (is_negative() != other.is_negative() || is_zero() || other.is_zero()) {
    const auto sign = [](const decimal& each) {
      return each.is_zero() ? 0 : each.negative_ ? -1 : 1;
    };
    return sign(*this) - sign(other);
  }
  const int larger = negative_ ? -1 : 1;
  if (highest_ != other.highest_) {
    return highest_ > other.highest_ ? larger : -larger;
  }
  for (auto one = digits_, two = other.digits_; !one.empty() || !two.empty();) {
    const int difference = next_digit(one) - next_digit(two);
    if (difference != 0) {
      return difference > 0 ? larger : -larger;
    }
  }
  return 0;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
