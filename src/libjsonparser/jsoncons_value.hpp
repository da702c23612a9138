#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <jsoncons/config/version.hpp>
#include <jsoncons/json.hpp>
#include <string_view>

#include "libjsonparser/evaluation_budget.hpp"
#include "libjsonparser/json_value.hpp"

// In each of these a part of the library's own code is replaced, in its namespace "detail" too.
static_assert(JSONCONS_VERSION_MAJOR == 1 && JSONCONS_VERSION_MINOR == 3 &&
                  JSONCONS_VERSION_PATCH == 2,
              "jsoncons 1.3.2 is needed. Before another release is used, compare what "
              "jsoncons_value.hpp, jsoncons_operators.hpp, jsoncons_functions.hpp, "
              "jsoncons_text_functions.hpp, "
              "jsoncons_context.hpp and jsoncons_evaluation.hpp replace with what that release has "
              "in its place.");

/// Completes `json_value`. Only for the three implementation files that know the JSON library:
/// json_text.cpp, json_value.cpp and jsonpath_expression.cpp.
namespace brunvik::monitoring_modules::libjsonparser {

/// Members sorted by name. A type of our own, so that what jsoncons_operators.hpp changes about the
/// library is changed for our values alone.
struct value_policy : jsoncons::sorted_policy {};

/// Below 0, 0 or above 0. Values of different types are in the order null, boolean, number, string,
/// array, object.
[[nodiscard]] int compare_values(const json_value& left, const json_value& right) noexcept;

}  // namespace brunvik::monitoring_modules::libjsonparser

/// The library's own (release 1.3.2) throws where it must not when a number beyond 64 bits is
/// compared with a string, and so ends the process: `$[?(@.state == 'on')]` does it as soon as
/// somebody publishes such a number for the state. Declared before anything can use that one.
template <>
inline int brunvik::monitoring_modules::libjsonparser::json_value::compare(
    const basic_json& right) const noexcept {
  return brunvik::monitoring_modules::libjsonparser::compare_values(*this, right);
}

/// As the library's own, but counted: members and names may be many and long.
template <>
inline auto brunvik::monitoring_modules::libjsonparser::json_value::find(
    const string_view_type& name) const -> const_object_iterator {
  using brunvik::monitoring_modules::libjsonparser::evaluation_budget;
  const auto members = object_range();
  if (auto* const budget = evaluation_budget::current()) {
    const auto comparisons = static_cast<std::size_t>(std::bit_width(size()));
    budget->count(comparisons * (2 + name.size() / evaluation_budget::bytes_of_step));
  }
  const auto place = std::lower_bound(
      members.begin(), members.end(), name,
      [](const auto& member, const string_view_type& wanted) { return member.key() < wanted; });
  return place != members.end() && place->key() == name ? place : members.end();
}

namespace brunvik::monitoring_modules::libjsonparser {

/// Numbers that neither 64 bits nor a double hold exactly are strings to the library, with a mark.
[[nodiscard]] inline bool is_large_number(const json_value& value) {
  return value.tag() == jsoncons::semantic_tag::bigint ||
         value.tag() == jsoncons::semantic_tag::bigdec;
}

[[nodiscard]] inline bool is_text(const json_value& value) {
  return value.is_string() && !is_large_number(value);
}

/// A number as a double, as near as can be, and infinite when it is too large. Never throws, unlike
/// the library's own conversion.
[[nodiscard]] double approximate(const json_value& number) noexcept;

/// Below 0, 0 or above 0, for two numbers that may differ by less than doubles can tell.
[[nodiscard]] int compare_decimals(const json_value& left, const json_value& right) noexcept;

/// Exactly one JSON value as RFC 8259 has it: no comments, no trailing commas. Throws the library's
/// exceptions.
[[nodiscard]] json_value read_json(std::string_view text);

/// The same for a text that is known to be a JSON number, and many times as fast.
[[nodiscard]] json_value read_number(std::string_view text);

}  // namespace brunvik::monitoring_modules::libjsonparser

#include "libjsonparser/jsoncons_compare.hpp"  // needs all of the above
