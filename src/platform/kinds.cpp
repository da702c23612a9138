#include "kavuhelper/settings/kinds.hpp"

#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

#include "kavuhelper/utils/exceptions.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::settings {
namespace {

using namespace utils::exceptions;

template <class Number>
void check_limits(Number number, std::string_view value, const validation_rules& rules) {
  if (rules.is_minimum_set && number < static_cast<Number>(rules.minimum)) {
    throw setting_invalid_less_min(std::string(value), std::to_string(rules.minimum));
  }
  if (rules.is_maximum_set && number > static_cast<Number>(rules.maximum)) {
    throw setting_invalid_bigger_max(std::string(value), std::to_string(rules.maximum));
  }
}

/// `shown` and `shown_length` stand for the value in a failure's text.
void check_length(std::size_t length, const validation_rules& rules, const std::string& kind,
                  const std::string& shown, const std::string& shown_length) {
  if (rules.is_minimum_set && std::cmp_less(length, rules.minimum)) {
    throw setting_invalid(
        shown, "It is shorter than the allowed length of " + std::to_string(rules.minimum) + ".");
  }
  if (rules.is_maximum_set && std::cmp_greater(length, rules.maximum)) {
    throw string_too_long(kind, shown_length, std::to_string(rules.maximum));
  }
}

}  // namespace

std::string kind_string::parse_and_validate(std::string_view value, const validation_rules& rules) {
  check_length(value.size(), rules, "kind_string", std::string(value),
               std::to_string(value.size()));
  return std::string(value);
}

secure_string kind_securestring::parse_and_validate(secure_string value,
                                                    const validation_rules& rules) {
  check_length(value.size(), rules, "kind_securestring", "********", "********");
  return value;
}

std::optional<std::int64_t> kind_integer::parse_and_validate(std::string_view value,
                                                             const validation_rules& rules) {
  if (value.empty()) {
    return std::nullopt;
  }
  std::int64_t number = 0;
  const char* const end = value.data() + value.size();
  const auto [stopped, error] = std::from_chars(value.data(), end, number);
  if (stopped != end || error == std::errc::invalid_argument) {
    throw setting_invalid(std::string(value), "It is not an integer.");
  }
  if (error == std::errc::result_out_of_range) {
    throw setting_invalid(std::string(value), "It does not fit 64 bits.");
  }
  check_limits(number, value, rules);
  return number;
}

double kind_float::parse_and_validate(std::string_view value, const validation_rules& rules) {
  double number = 0.0;
  const char* const end = value.data() + value.size();
  const auto [stopped, error] = std::from_chars(value.data(), end, number);
  if (stopped != end || error == std::errc::invalid_argument || value.empty()) {
    throw setting_invalid(std::string(value), "It is not a number.");
  }
  if (error == std::errc::result_out_of_range || !std::isfinite(number)) {
    throw setting_invalid(std::string(value), "It is not a finite number that can be represented.");
  }
  check_limits(number, value, rules);
  return number;
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
