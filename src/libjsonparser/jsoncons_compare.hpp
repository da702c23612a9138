#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "libjsonparser/jsoncons_value.hpp"
#include "libjsonparser/number_text.hpp"

/// The order of values, as comparisons in expressions use it; see jsoncons_value.hpp.
namespace brunvik::monitoring_modules::libjsonparser {

namespace comparison {

inline int order(bool less, bool equal) {
  return less ? -1 : equal ? 0 : 1;
}

inline int rank(const json_value& value) {
  if (value.is_number()) {
    return 2;
  }
  return value.is_null()     ? 0
         : value.is_bool()   ? 1
         : value.is_string() ? 3
         : value.is_array()  ? 4
                             : 5;
}

inline int compare_numbers(const json_value& left, const json_value& right) {
  if (left.is<std::int64_t>() && right.is<std::int64_t>()) {
    const auto one = left.as<std::int64_t>();
    const auto other = right.as<std::int64_t>();
    return order(one < other, one == other);
  }
  if (left.is<std::uint64_t>() && right.is<std::uint64_t>()) {
    const auto one = left.as<std::uint64_t>();
    const auto other = right.as<std::uint64_t>();
    return order(one < other, one == other);
  }
  const double one = approximate(left);
  const double other = approximate(right);
  // Such a double has been rounded, in an expression; one of the document has not.
  const auto rounded = [](const json_value& number, double value) {
    return number.is_double() && !(std::abs(value) < first_inexact_integer);
  };
  if (one == other && (is_large_number(left) || is_large_number(right)) && !rounded(left, one) &&
      !rounded(right, other)) {
    return compare_decimals(left, right);
  }
  return order(one < other, one == other);
}

// Both are arrays, or both are objects. `compare` is called for each pair until one differs.
template <class Range, class Compare>
inline int compare_ranges(const Range& left, const Range& right, Compare&& compare) {
  auto one = left.begin();
  auto other = right.begin();
  for (; one != left.end() && other != right.end(); ++one, ++other) {
    if (const int result = compare(*one, *other); result != 0) {
      return result;
    }
  }
  return order(one == left.end() && other != right.end(), one == left.end());
}

// Comparing two texts.
inline void count_text(std::string_view one, std::string_view other) noexcept {
  if (auto* const budget = evaluation_budget::current()) {
    budget->count(4 + std::min(one.size(), other.size()) / evaluation_budget::bytes_of_step);
  }
}

// Counts, where that is asked for. False when the evaluation is to end: no answer matters then.
inline bool may_compare(const json_value& left, const json_value& right) noexcept {
  auto* const budget = evaluation_budget::current();
  if (budget == nullptr) {
    return true;
  }
  const auto size = left.is_string() && right.is_string()
                        ? std::min(left.as_string_view().size(), right.as_string_view().size())
                        : 0;
  budget->count(4 + size / evaluation_budget::bytes_of_step);
  return !budget->is_used_up();
}

}  // namespace comparison

inline int compare_values(const json_value& left, const json_value& right) noexcept {
  if (!comparison::may_compare(left, right)) {
    return -1;
  }
  const int type = comparison::rank(left);
  if (type != comparison::rank(right)) {
    return type - comparison::rank(right);
  }
  if (left.is_bool()) {
    return comparison::order(!left.as_bool() && right.as_bool(), left.as_bool() == right.as_bool());
  }
  if (left.is_number()) {
    return comparison::compare_numbers(left, right);
  }
  if (left.is_string()) {
    return left.as_string_view().compare(right.as_string_view());
  }
  if (left.is_array()) {
    return comparison::compare_ranges(left.array_range(), right.array_range(), compare_values);
  }
  if (left.is_object()) {
    return comparison::compare_ranges(
        left.object_range(), right.object_range(), [](const auto& one, const auto& other) {
          comparison::count_text(one.key(), other.key());
          const int names = one.key().compare(other.key());
          return names != 0 ? names : compare_values(one.value(), other.value());
        });
  }
  return 0;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
