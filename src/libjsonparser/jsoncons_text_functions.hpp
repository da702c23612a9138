#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <regex>
#include <string>
#include <string_view>
#include <system_error>

#include "libjsonparser/guarded_regex.hpp"
#include "libjsonparser/jsoncons_functions.hpp"
#include "libjsonparser/jsoncons_operators.hpp"
#include "libjsonparser/jsoncons_value.hpp"

/// The second part of what jsoncons_functions.hpp replaces: functions that search in texts.
namespace brunvik::monitoring_modules::libjsonparser {

/// The one that `tokenize` had last, or a new one. It may come from the document, and compiling
/// recurses as well.
inline const separator& compiled_separator(std::string_view text) {
  auto& last = current_evaluation()->last_separator;
  spend_on_text(text.size());
  if (last && last->text == text) {
    return *last;
  }
  const auto parts = text.size() > longest_expression_with_regex ? text.size() : written_out(text);
  if (parts > longest_expression_with_regex) {
    throw evaluation_refused("The separator of tokenize is too long.");
  }
  // Measured. The library looks up all 256 characters for each set of some.
  constexpr std::size_t of_character = 100;
  constexpr std::size_t of_part = 50;
  constexpr std::size_t of_set = 3500;
  const auto sets = static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char mark) { return mark == '[' || mark == '\\'; }));
  spend(of_character * (2 + text.size()) + of_part * parts + of_set * sets);
  last.reset();
  last.emplace(separator{std::string(text), parts, std::regex(text.begin(), text.end())});
  return *last;
}

}  // namespace brunvik::monitoring_modules::libjsonparser

namespace jsoncons::jsonpath::detail {

template <>
class contains_function<own::json_value> : public function_base<own::json_value> {
 public:
  contains_function() : function_base(2) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& value = arguments[0].value();
    const auto& part = arguments[1].value();
    if (value.is_array()) {
      for (const auto& element : value.array_range()) {
        own::spend();
        if (element == part) {
          return own::json_value(true);
        }
      }
      return own::json_value(false);
    }
    if (!own::is_text(value) || !own::is_text(part)) {
      return own::wrong_type(error);
    }
    // Unlike the standard library's search, this one takes no longer for text made to slow it.
    const auto text = value.as_string_view();
    const auto wanted = part.as_string_view();
    own::spend(2 * text.size());
    return own::json_value(::memmem(text.data(), text.size(), wanted.data(), wanted.size()) !=
                           nullptr);
  }
};

template <>
class starts_with_function<own::json_value> : public function_base<own::json_value> {
 public:
  starts_with_function() : function_base(2) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& value = arguments[0].value();
    const auto& part = arguments[1].value();
    return own::is_text(value) && own::is_text(part)
               ? own::json_value(value.as_string_view().starts_with(part.as_string_view()))
               : own::wrong_type(error);
  }
};

template <>
class ends_with_function<own::json_value> : public function_base<own::json_value> {
 public:
  ends_with_function() : function_base(2) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& value = arguments[0].value();
    const auto& part = arguments[1].value();
    return own::is_text(value) && own::is_text(part)
               ? own::json_value(value.as_string_view().ends_with(part.as_string_view()))
               : own::wrong_type(error);
  }
};

template <>
class tokenize_function<own::json_value> : public function_base<own::json_value> {
 public:
  explicit tokenize_function(const own::counted_allocator<char>& /*allocator*/)
      : function_base(2) {}
  own::json_value evaluate(const own::function_arguments& arguments,
                           std::error_code& error) const override {
    const auto& value = arguments[0].value();
    const auto& separator = arguments[1].value();
    if (value.is_null()) {  // a member that is missing
      return own::wrong_type(error);
    }
    if (!own::is_text(value) || !own::is_text(separator)) {
      return own::refuse_argument(error);
    }
    const auto& pattern = own::compiled_separator(separator.as_string_view());
    const auto text = own::searched_text(value, pattern.parts);
    own::json_value result(json_array_arg);
    std::regex_token_iterator<own::guarded_iterator> part(text.begin, text.end, pattern.regex, -1);
    for (; part != std::regex_token_iterator<own::guarded_iterator>(); ++part) {
      result.push_back(part->str());
    }
    return result;
  }
};

}  // namespace jsoncons::jsonpath::detail
