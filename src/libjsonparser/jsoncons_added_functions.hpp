#pragma once

#include <jsoncons_ext/jsonpath/jsonpath.hpp>
#include <string_view>
#include <system_error>

#include "libjsonparser/jsoncons_evaluation.hpp"
#include "libjsonparser/jsoncons_functions.hpp"

/// The functions that expressions have beside those of the JSON library.
namespace brunvik::monitoring_modules::libjsonparser {

using argument_span = jsoncons::span<const jsoncons::jsonpath::parameter<json_value>>;

/// Reading a text takes memory above all for what is between its marks.
inline void before_reading(std::string_view text) {
  constexpr std::size_t bytes_of_value = 200;
  constexpr std::size_t steps_of_value = 10;
  spend(2 * text.size());
  const auto values =
      static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char mark) {
        return mark == ',' || mark == '[' || mark == '{';
      }));
  spend(steps_of_value * values);
  evaluation_budget::current()->require(4 * text.size() + bytes_of_value * values);
}

/// `eval(x)`: the JSON value that a text stands for; any other text, numbers, booleans and null
/// remain.
inline json_value eval(const json_value& argument, std::error_code& error) {
  if (argument.is_array() || argument.is_object()) {
    return refuse_argument(error);
  }
  if (argument.is_string() && !is_large_number(argument)) {
    const auto text = argument.as_string_view();
    constexpr std::size_t longest_common_number = 32;
    if (text.size() <= longest_common_number && whole_number(text) == text) {
      spend(price::number + 2 * text.size());
      return read_number(text);
    }
    before_reading({text.data(), text.size()});
    try {
      return read_json({text.data(), text.size()});
    } catch (const jsoncons::ser_error&) {
      before_copy(argument);
    }
  }
  return argument;
}

/// `number(x)`: 1 for true, 0 for false, the number in a text. A missing member has none.
inline json_value number(const json_value& argument, std::error_code& error) {
  if (argument.is_bool()) {
    return json_value(argument.as_bool() ? 1 : 0);
  }
  if (argument.is_number()) {
    return argument;
  }
  if (argument.is_null()) {
    return wrong_type(error);
  }
  const auto found =
      argument.is_string() ? number_of_text(argument.as_string_view()) : json_value::null();
  if (found.is_null()) {
    throw evaluation_refused("number: " + quotation(argument) + " is no number.");
  }
  return found;
}

/// `choose(x, 'ON', 1, 'OFF', 0)`: what stands behind the first that equals x, or else the last
/// argument when it stands alone.
inline json_value choose(argument_span arguments) {
  if (arguments.size() < 3) {
    throw evaluation_refused("choose: it needs a value and at least one pair.");
  }
  const auto& value = arguments[0].value();
  const auto return_copy = [](const json_value& result) {
    before_copy(result);
    return result;
  };
  for (std::size_t at = 1; at + 1 < arguments.size(); at += 2) {
    spend();
    if (value == arguments[at].value()) {
      return return_copy(arguments[at + 1].value());
    }
  }
  if (arguments.size() % 2 == 0) {
    return return_copy(arguments[arguments.size() - 1].value());
  }
  throw evaluation_refused("choose: there is no pair for " + quotation(value) + ".");
}

inline jsoncons::jsonpath::custom_functions<json_value> custom_json_functions() {
  jsoncons::jsonpath::custom_functions<json_value> functions;
  functions.register_function("eval", 1, [](argument_span arguments, std::error_code& error) {
    return eval(arguments[0].value(), error);
  });
  functions.register_function("number", 1, [](argument_span arguments, std::error_code& error) {
    return number(arguments[0].value(), error);
  });
  functions.register_function(
      "choose", jsoncons::optional<std::size_t>(),
      [](argument_span arguments, std::error_code& /*error*/) { return choose(arguments); });
  return functions;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
