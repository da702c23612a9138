#pragma once

#include <cmath>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <vector>

#include "libjsonparser/decimal_text.hpp"
#include "libjsonparser/jsoncons_context.hpp"
#include "libjsonparser/jsoncons_operators.hpp"
#include "libjsonparser/jsoncons_value.hpp"
#include "libjsonparser/number_text.hpp"

/// Replaces, for `json_value` alone, those functions of the JSON library's JSONPath that copy their
/// argument, add up integers as doubles, or search without bounds.
namespace brunvik::monitoring_modules::libjsonparser {

using function_arguments = std::vector<jsoncons::jsonpath::parameter<json_value>>;

/// As the library says that an argument is of the wrong type; see `evaluation_state`.
inline json_value wrong_type(std::error_code& error) {
  error = jsoncons::jsonpath::jsonpath_errc::invalid_type;
  return json_value::null();
}

/// These functions return floating point numbers; an integer that is too large for one remains.
inline json_value as_floating(const json_value& number) {
  const double value = libjsonparser::approximate(number);
  return std::abs(value) < first_inexact_integer || number.is_double() ? json_value(value) : number;
}

/// Joins all numbers of an array with an operator, beginning with `start`.
template <class Operator>
json_value fold(const json_value& array, std::int64_t start, std::error_code& error) {
  if (!array.is_array()) {
    return wrong_type(error);
  }
  if (array.size() == 1 && is_large_number(array[0])) {
    return array[0];
  }
  const Operator join;
  json_value result(start);
  for (const auto& element : array.array_range()) {
    spend(4);
    if (!element.is_number()) {
      return wrong_type(error);
    }
    result = join.evaluate(result, element, error);
  }
  return as_floating(result);
}

/// Also for a number so small that its double is zero.
inline bool is_negative(const json_value& number) {
  return is_large_number(number) ? number.as_string_view().starts_with('-')
                                 : libjsonparser::approximate(number) < 0;
}

/// The first of the smallest (`sign` below 0) or largest elements, all numbers or all strings.
inline json_value outermost(const json_value& array, int sign, std::error_code& error) {
  if (!array.is_array()) {
    return wrong_type(error);
  }
  const json_value* result = nullptr;
  for (const auto& element : array.array_range()) {
    spend();
    const bool is_text = element.is_string() && !element.is_number();
    if (!(is_text || element.is_number()) ||
        (result != nullptr && result->is_number() == is_text)) {
      return wrong_type(error);
    }
    if (result == nullptr || compare_values(element, *result) * sign > 0) {
      result = &element;
    }
  }
  if (result == nullptr) {
    return json_value::null();
  }
  before_copy(*result);
  return *result;
}

/// `direction` below 0 for "floor", above 0 for "ceil".
inline json_value rounded(const json_value& number, int direction, std::error_code& error) {
  if (!number.is_number()) {
    return wrong_type(error);
  }
  if (is_large_number(number)) {
    const auto text = number.as_string_view();
    const decimal exact({text.data(), text.size()});
    const auto whole = exact.truncated();
    if (!whole) {
      return number;  // so large that it is taken for whole
    }
    if (exact.is_whole()) {
      return number;
    }
    std::int64_t result = 0;
    const bool is_beside = exact.is_negative() == (direction < 0);
    if (__builtin_add_overflow(*whole, is_beside ? direction : 0, &result)) {
      return json_value(libjsonparser::approximate(number));
    }
    const auto floating = static_cast<double>(result);
    // Beyond what a double holds it is kept as the document's own decimals are.
    return std::abs(floating) < first_inexact_integer
               ? json_value(floating)
               : json_value(std::to_string(result) + ".0", jsoncons::semantic_tag::bigdec);
  }
  if (!number.is_double()) {
    return as_floating(number);
  }
  const double value = number.as_double();
  return json_value(direction < 0 ? std::floor(value) : std::ceil(value));
}

/// The number that a text is from its first to its last character but for blanks; null if none.
inline json_value number_of_text(std::string_view text) {
  spend(price::number + 2 * text.size());
  evaluation_budget::current()->require(5 * text.size());
  const auto number = whole_number(text);
  return number ? read_number(*number) : json_value::null();
}

}  // namespace brunvik::monitoring_modules::libjsonparser

namespace jsoncons::jsonpath::detail {

template <>
class sum_function<own::json_value> : public function_base<own::json_value> {
 public:
  sum_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    return own::fold<plus_operator<own::json_value>>(arguments[0].value(), 0, error);
  }
};

template <>
class prod_function<own::json_value> : public function_base<own::json_value> {
 public:
  prod_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& array = arguments[0].value();
    return array.is_array() && array.empty()
               ? own::wrong_type(error)
               : own::fold<mult_operator<own::json_value>>(array, 1, error);
  }
};

template <>
class avg_function<own::json_value> : public function_base<own::json_value> {
 public:
  avg_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& array = arguments[0].value();
    const auto sum = own::fold<plus_operator<own::json_value>>(array, 0, error);
    return error || array.empty()
               ? own::json_value::null()
               : own::json_value(own::approximate(sum) / static_cast<double>(array.size()));
  }
};

template <>
class min_function<own::json_value> : public function_base<own::json_value> {
 public:
  min_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    return own::outermost(arguments[0].value(), -1, error);
  }
};

template <>
class max_function<own::json_value> : public function_base<own::json_value> {
 public:
  max_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    return own::outermost(arguments[0].value(), 1, error);
  }
};

template <>
class floor_function<own::json_value> : public function_base<own::json_value> {
 public:
  floor_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    return own::rounded(arguments[0].value(), -1, error);
  }
};

template <>
class ceil_function<own::json_value> : public function_base<own::json_value> {
 public:
  ceil_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    return own::rounded(arguments[0].value(), 1, error);
  }
};

template <>
class to_number_function<own::json_value> : public function_base<own::json_value> {
 public:
  to_number_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& value = arguments[0].value();
    return value.is_number()   ? value
           : value.is_string() ? own::number_of_text(value.as_string_view())
                               : own::wrong_type(error);
  }
};

template <>
class abs_function<own::json_value> : public function_base<own::json_value> {
 public:
  abs_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& value = arguments[0].value();
    if (value.is_null()) {  // a member that is missing
      return own::wrong_type(error);
    }
    if (!value.is_number()) {
      return own::refuse_argument(error);
    }
    return own::is_negative(value) ? unary_minus_operator<own::json_value>().evaluate(value, error)
                                   : value;
  }
};

template <>
class length_function<own::json_value> : public function_base<own::json_value> {
 public:
  length_function() : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& value = arguments[0].value();
    if (own::is_text(value)) {
      const auto text = value.as_string_view();
      own::spend(2 * text.size());
      return own::json_value(unicode_traits::count_codepoints(text.data(), text.size()));
    }
    return value.is_array() || value.is_object() ? own::json_value(value.size())
                                                 : own::wrong_type(error);
  }
};

template <>
class keys_function<own::json_value> : public function_base<own::json_value> {
 public:
  explicit keys_function(const own::counted_allocator<char>& /*allocator*/) : function_base(1) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& value = arguments[0].value();
    if (!value.is_object()) {
      return own::wrong_type(error);
    }
    own::evaluation_budget::current()->require(value.size() * sizeof(own::json_value));
    own::json_value names(json_array_arg);
    names.reserve(value.size());
    for (const auto& member : value.object_range()) {
      own::spend_on_text(member.key().size());
      own::evaluation_budget::current()->require(member.key().size());
      names.emplace_back(member.key());
    }
    return names;
  }
};

}  // namespace jsoncons::jsonpath::detail
