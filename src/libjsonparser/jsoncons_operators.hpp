#pragma once

#include <cmath>
#include <cstdint>
#include <jsoncons_ext/jsonpath/jsonpath.hpp>
#include <limits>
#include <regex>
#include <string>
#include <system_error>
#include <vector>

#include "libjsonparser/guarded_regex.hpp"
#include "libjsonparser/jsoncons_value.hpp"

/// Replaces, for `json_value` alone, those operators and functions of the JSON library's JSONPath
/// with which a document can harm the process (release 1.3.2; only jsonpath_expression.cpp includes
/// this, before anything uses them).
///
/// As they stand an integer division by zero ends the process, sums and products of integers wrap
/// around, and regular expressions run without bounds. Here arithmetic whose result is no 64-bit
/// integer gives a floating point number instead, which may be infinite and then fails to convert.
namespace brunvik::monitoring_modules::libjsonparser {

/// What an evaluation on this thread has to share with the functions that it calls.
struct evaluation_state {
  std::error_code error;            // the first argument that a function of ours refused
  search_budget* budget = nullptr;  // there when the expression holds a regular expression
};

inline evaluation_state*& current_evaluation() {
  thread_local evaluation_state* state = nullptr;
  return state;
}

inline search_budget& current_budget() {
  auto* const state = current_evaluation();
  if (state == nullptr || state->budget == nullptr) {
    throw search_refused("A regular expression came up where none was expected.");
  }
  return *state->budget;
}

/// `exact(left, right, result)` returns true, as the compiler's overflow checks do, when there is
/// no exact result.
template <class Exact, class Inexact>
json_value calculate(const json_value& left, const json_value& right, Exact exact,
                     Inexact inexact) {
  if (!left.is_number() || !right.is_number()) {
    return json_value::null();
  }
  if (left.is_int64() && right.is_int64()) {
    std::int64_t result = 0;
    if (!exact(left.as<std::int64_t>(), right.as<std::int64_t>(), &result)) {
      return json_value(result);
    }
  } else if (left.is_uint64() && right.is_uint64()) {
    std::uint64_t result = 0;
    if (!exact(left.as<std::uint64_t>(), right.as<std::uint64_t>(), &result)) {
      return json_value(result);
    }
  }
  return json_value(inexact(libjsonparser::approximate(left), libjsonparser::approximate(right)));
}

/// True when neither `/` nor `%` has a result for these.
template <class Integer>
bool undefined_quotient(Integer left, Integer right) {
  return right == 0 || (std::numeric_limits<Integer>::is_signed &&
                        left == std::numeric_limits<Integer>::min() && right == Integer(-1));
}

}  // namespace brunvik::monitoring_modules::libjsonparser

namespace jsoncons::jsonpath::detail {

namespace own = brunvik::monitoring_modules::libjsonparser;

template <>
class plus_operator<own::json_value> final : public binary_operator<own::json_value> {
 public:
  plus_operator() : binary_operator(4) {}
  own::json_value evaluate(const own::json_value& left, const own::json_value& right,
                           std::error_code& /*error*/) const override {
    return own::calculate(
        left, right,
        [](auto one, auto other, auto* sum) { return __builtin_add_overflow(one, other, sum); },
        [](double one, double other) { return one + other; });
  }
};

template <>
class minus_operator<own::json_value> final : public binary_operator<own::json_value> {
 public:
  minus_operator() : binary_operator(4) {}
  own::json_value evaluate(const own::json_value& left, const own::json_value& right,
                           std::error_code& /*error*/) const override {
    return own::calculate(
        left, right,
        [](auto one, auto other, auto* rest) { return __builtin_sub_overflow(one, other, rest); },
        [](double one, double other) { return one - other; });
  }
};

template <>
class mult_operator<own::json_value> final : public binary_operator<own::json_value> {
 public:
  mult_operator() : binary_operator(3) {}
  own::json_value evaluate(const own::json_value& left, const own::json_value& right,
                           std::error_code& /*error*/) const override {
    return own::calculate(
        left, right,
        [](auto one, auto other, auto* product) {
          return __builtin_mul_overflow(one, other, product);
        },
        [](double one, double other) { return one * other; });
  }
};

template <>
class div_operator<own::json_value> final : public binary_operator<own::json_value> {
 public:
  div_operator() : binary_operator(3) {}
  own::json_value evaluate(const own::json_value& left, const own::json_value& right,
                           std::error_code& /*error*/) const override {
    return own::calculate(
        left, right,
        [](auto one, auto other, auto* quotient) {
          const bool undefined = own::undefined_quotient(one, other);
          *quotient = undefined ? 0 : one / other;
          return undefined;
        },
        [](double one, double other) { return one / other; });
  }
};

template <>
class modulus_operator<own::json_value> final : public binary_operator<own::json_value> {
 public:
  modulus_operator() : binary_operator(3) {}
  own::json_value evaluate(const own::json_value& left, const own::json_value& right,
                           std::error_code& /*error*/) const override {
    return own::calculate(
        left, right,
        [](auto one, auto other, auto* rest) {
          const bool undefined = own::undefined_quotient(one, other);
          *rest = undefined ? 0 : one % other;
          return undefined;
        },
        [](double one, double other) { return std::fmod(one, other); });
  }
};

template <>
class unary_minus_operator<own::json_value> final : public unary_operator<own::json_value> {
 public:
  unary_minus_operator() : unary_operator(1, true) {}
  own::json_value evaluate(const own::json_value& value, std::error_code& error) const override {
    return minus_operator<own::json_value>().evaluate(own::json_value(std::int64_t{0}), value,
                                                      error);
  }
};

template <>
class abs_function<own::json_value> : public function_base<own::json_value> {
 public:
  abs_function() : function_base(1) {}
  own::json_value evaluate(const std::vector<parameter<own::json_value>>& arguments,
                           std::error_code& error) const override {
    const own::json_value value = arguments.at(0).value();
    if (!value.is_number()) {
      error = jsonpath_errc::invalid_type;
      return own::json_value::null();
    }
    return own::approximate(value) < 0
               ? unary_minus_operator<own::json_value>().evaluate(value, error)
               : value;
  }
};

template <>
class regex_operator<own::json_value> final : public unary_operator<own::json_value> {
 public:
  explicit regex_operator(std::regex&& pattern)
      : unary_operator(2, true), pattern_(std::move(pattern)) {}
  own::json_value evaluate(const own::json_value& value,
                           std::error_code& /*error*/) const override {
    if (!value.is_string()) {
      return own::json_value::null();
    }
    const auto characters = value.as_string_view();
    const own::guarded_text text({characters.data(), characters.size()}, own::current_budget());
    return own::json_value(std::regex_search(text.begin, text.end, pattern_));
  }

 private:
  std::regex pattern_;
};

template <>
class tokenize_function<own::json_value> : public function_base<own::json_value> {
 public:
  explicit tokenize_function(const std::allocator<char>& /*allocator*/) : function_base(2) {}
  own::json_value evaluate(const std::vector<parameter<own::json_value>>& arguments,
                           std::error_code& error) const override {
    const own::json_value value = arguments.at(0).value();
    const own::json_value separator = arguments.at(1).value();
    if (!value.is_string() || !separator.is_string()) {
      error = jsonpath_errc::invalid_type;
      return own::json_value::null();
    }
    // The pattern may come from the document, and compiling one recurses as well.
    if (separator.as_string_view().size() > own::longest_expression_with_regex) {
      throw own::search_refused("The separator of tokenize is too long.");
    }
    const std::regex pattern(separator.as_string());
    const auto characters = value.as_string_view();
    const own::guarded_text text({characters.data(), characters.size()}, own::current_budget());
    own::json_value parts(json_array_arg);
    std::regex_token_iterator<own::guarded_iterator> part(text.begin, text.end, pattern, -1);
    for (; part != std::regex_token_iterator<own::guarded_iterator>(); ++part) {
      parts.push_back(part->str());
    }
    return parts;
  }
};

}  // namespace jsoncons::jsonpath::detail
