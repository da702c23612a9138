#include "libjsonparser/jsonpath_expression.hpp"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "libjsonparser/exceptions.hpp"
#include "libjsonparser/jsoncons_operators.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

namespace jsonpath = jsoncons::jsonpath;

using resources = jsonpath::detail::static_resources<json_value>;
using compiler = jsonpath::detail::jsonpath_evaluator<json_value, const json_value&>;
using path = jsonpath::detail::path_expression<json_value, const json_value&>;
using context = jsonpath::detail::eval_context<json_value, const json_value&>;
using node = jsonpath::basic_path_node<char>;

json_value refuse_argument(std::error_code& error) {
  error = jsonpath::jsonpath_errc::invalid_type;
  if (auto* const state = current_evaluation(); state != nullptr && !state->error) {
    state->error = error;
  }
  return json_value::null();
}

json_value eval(const json_value& argument, std::error_code& error) {
  if (argument.is_array() || argument.is_object()) {
    return refuse_argument(error);
  }
  if (!argument.is_string() || is_large_number(argument)) {
    return argument;
  }
  try {
    return read_json(argument.as_string_view());
  } catch (const jsoncons::ser_error&) {
    return argument;
  }
}

jsonpath::custom_functions<json_value> custom_json_functions() {
  jsonpath::custom_functions<json_value> functions;
  functions.register_function(
      "eval", 1,
      [](jsoncons::span<const jsonpath::parameter<json_value>> arguments, std::error_code& error) {
        return eval(arguments[0].value(), error);
      });
  return functions;
}

std::size_t count(std::string_view text, std::string_view part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) {
    ++found;
  }
  return found;
}

// Whether the expression may run a regular expression; rather too often than not often enough.
bool uses_regex(std::string text) {
  std::erase_if(text, [](char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
  });
  return text.find("=~") != std::string::npos || text.find("tokenize") != std::string::npos;
}

// How often the depth of a document multiplies what evaluating takes: each further descent starts
// anew in every subtree, and one inside of a filter or a function copies what it has found.
std::size_t descents(std::string_view text) {
  const auto all = count(text, "..");
  const bool copies = text.find('(') != std::string_view::npos;
  return all == 0 || copies ? all : all - 1;
}

void check_length(const std::string& text) {
  const auto longest = uses_regex(text) ? longest_expression_with_regex : longest_expression;
  if (text.size() > longest) {
    throw exceptions::query_error("The expression has " + std::to_string(text.size()) +
                                  " bytes, more than the " + std::to_string(longest) +
                                  " that can be evaluated safely.");
  }
}

// Makes `state` the one that functions called on this thread find.
class evaluation_scope {
 public:
  explicit evaluation_scope(evaluation_state& state)
      : outer_(std::exchange(current_evaluation(), &state)) {}
  ~evaluation_scope() { current_evaluation() = outer_; }
  evaluation_scope(const evaluation_scope&) = delete;
  evaluation_scope& operator=(const evaluation_scope&) = delete;

 private:
  evaluation_state* const outer_;
};

}  // namespace

struct jsonpath_expression::compiled {
  explicit compiled(const std::string& text)
      : uses_regex(libjsonparser::uses_regex(text)),
        descents(libjsonparser::descents(text)),
        owned(custom_json_functions()),
        expression(compiler().compile(owned, text)) {}

  bool uses_regex;
  std::size_t descents;
  resources owned;  // the expression refers to them
  path expression;
};

jsonpath_expression::jsonpath_expression(const std::string& text)
    : text_(text), compiled_([&] {
        check_length(text);
        try {
          return std::make_unique<const compiled>(text);
        } catch (const std::exception& error) {
          throw exceptions::query_error(error.what());
        }
      }()) {}

jsonpath_expression::~jsonpath_expression() = default;

void jsonpath_expression::check_extent(const json_document& document) const {
  if (!compiled_->uses_regex && compiled_->descents == 0) {
    return;
  }
  const auto extent = document.measure();
  if (compiled_->uses_regex && extent.longest_string > longest_searched_string) {
    throw exceptions::query_error(
        "The document holds a string of " + std::to_string(extent.longest_string) +
        " bytes; regular expressions bear " + std::to_string(longest_searched_string) + ".");
  }
  const auto depth = static_cast<std::size_t>(std::max(extent.depth, 1));
  auto effort = document.text_size();
  for (std::size_t descent = 0; descent < compiled_->descents && depth > 1; ++descent) {
    if (effort > largest_descent / depth) {
      throw exceptions::query_error(
          "The document is too large and too deep for an expression with \"..\".");
    }
    effort *= depth;
  }
}

jsonpath_matches jsonpath_expression::evaluate(const json_document& document) const {
  check_extent(document);
  evaluation_state state;
  std::optional<search_budget> budget;
  if (compiled_->uses_regex) {
    state.budget = &budget.emplace();
  }
  const evaluation_scope scope(state);
  jsonpath_matches matches;
  try {
    const auto computed = std::make_shared<context>();
    compiled_->expression.evaluate(
        *computed, document.root(), node{}, document.root(),
        [&](const node&, const json_value& value) { matches.values.push_back(&value); },
        jsonpath::result_options());
    matches.computed = computed;
  } catch (const std::exception& error) {
    throw exceptions::query_error(error.what());
  }
  if (matches.values.empty() && state.error) {
    throw exceptions::query_error(state.error.message());
  }
  return matches;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
