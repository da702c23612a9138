#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <jsoncons_ext/jsonpath/jsonpath.hpp>
#include <limits>
#include <optional>
#include <regex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "libjsonparser/guarded_regex.hpp"
#include "libjsonparser/jsoncons_value.hpp"

/// Replaces, for `json_value` alone, those operators of the JSON library's JSONPath with which a
/// document can harm the process (only jsonpath_expression.cpp includes this, before anything uses
/// them; jsoncons_value.hpp checks the release).
///
/// As they stand an integer division by zero ends the process, sums and products of integers wrap
/// around, and regular expressions run without bounds. Here arithmetic whose result is no 64-bit
/// integer gives a floating point number instead, which may be infinite and then fails to convert.
namespace brunvik::monitoring_modules::libjsonparser {

/// The second argument of `tokenize`.
struct separator {
  std::string text;
  std::size_t parts = 0;
  std::regex regex;
};

/// What an evaluation on this thread has to share with the functions that it calls.
struct evaluation_state {
  std::error_code error;        // what the first function says that did not take an argument
  bool is_refused = false;      // and it was one whose refusals are never passed over
  std::size_t regex_parts = 0;  // of the largest regular expression in the expression
  std::optional<separator> last_separator;
};

/// Set while an expression is evaluated.
inline evaluation_state*& current_evaluation() {
  static constinit thread_local evaluation_state* state = nullptr;
  return state;
}

/// The answer of a function to an argument that it does not take: the evaluation fails.
inline json_value refuse_argument(std::error_code& error) {
  error = jsoncons::jsonpath::jsonpath_errc::invalid_type;
  auto& state = *current_evaluation();
  state.error = state.is_refused ? state.error : error;
  state.is_refused = true;
  return json_value::null();
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

/// Nothing is rounded for another sign.
inline json_value negated_text(const json_value& number) {
  const auto text = number.as_string_view();
  spend_on_text(text.size());
  evaluation_budget::current()->require(2 * text.size());
  const std::string digits(text.substr(text.starts_with('-') ? 1 : 0));
  return {text.starts_with('-') ? digits : "-" + digits, number.tag()};
}

/// An operator at its place in an expression.
///
/// The library uses operators that bind equally strongly from the right, so that 10 - 3 - 2 is 9.
/// So here each binds a little less than those before it, but more than any of the next level.
class placed_operator final : public jsoncons::jsonpath::detail::binary_operator<json_value> {
 public:
  placed_operator(const binary_operator& operation, std::size_t place)
      : binary_operator(operation.precedence_level() * places + place), operation_(&operation) {}

  static std::size_t level_of(const binary_operator& placed) {
    return placed.precedence_level() / places;
  }
  json_value evaluate(const json_value& left, const json_value& right,
                      std::error_code& error) const override {
    return operation_->evaluate(left, right, error);
  }

 private:
  static constexpr std::size_t places = 1U << 16U;  // more than an expression has bytes

  const binary_operator* operation_;
};

/// Set while an expression is compiled, which then refers to them; with room for all of them.
inline std::vector<placed_operator>*& current_operators() {
  static constinit thread_local std::vector<placed_operator>* operators = nullptr;
  return operators;
}

/// The bounds on a regular expression and on the text that it is used on.
inline guarded_text searched_text(const json_value& value, std::size_t parts) {
  const auto text = value.as_string_view();
  if (text.size() > longest_searched_string) {
    throw evaluation_refused("The document holds a string of " + std::to_string(text.size()) +
                             " bytes; regular expressions bear " +
                             std::to_string(longest_searched_string) + ".");
  }
  spend(20 + parts);  // the library clears what it keeps for each part
  return {{text.data(), text.size()}, parts};
}

inline bool matches(const json_value& value, const std::regex& pattern) {
  const auto text = searched_text(value, current_evaluation()->regex_parts);
  return std::regex_search(text.begin, text.end, pattern);
}

}  // namespace brunvik::monitoring_modules::libjsonparser

namespace jsoncons::jsonpath::detail {

namespace own = brunvik::monitoring_modules::libjsonparser;

template <>
inline token<own::json_value, const own::json_value&>::token(
    const binary_operator<own::json_value>* operation) noexcept
    : token_kind_(jsonpath_token_kind::binary_operator),
      binary_operator_(
          &own::current_operators()->emplace_back(*operation, own::current_operators()->size())) {}

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
    if (own::is_large_number(value)) {
      return own::negated_text(value);
    }
    return minus_operator<own::json_value>().evaluate(own::json_value(std::int64_t{0}), value,
                                                      error);
  }
};

template <>
class regex_operator<own::json_value> final : public unary_operator<own::json_value> {
 public:
  explicit regex_operator(std::regex&& pattern)
      : unary_operator(2, true), pattern_(std::move(pattern)) {}
  own::json_value evaluate(const own::json_value& value,
                           std::error_code& /*error*/) const override {
    if (!own::is_text(value)) {
      return own::json_value::null();
    }
    return own::json_value(own::matches(value, pattern_));
  }

 private:
  std::regex pattern_;
};

}  // namespace jsoncons::jsonpath::detail
