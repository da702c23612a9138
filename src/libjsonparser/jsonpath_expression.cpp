#include "libjsonparser/jsonpath_expression.hpp"

#include <algorithm>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "libjsonparser/exceptions.hpp"
#include "libjsonparser/jsoncons_added_functions.hpp"
#include "libjsonparser/jsoncons_evaluation.hpp"
#include "libjsonparser/jsoncons_functions.hpp"
#include "libjsonparser/jsoncons_text_functions.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

namespace jsonpath = jsoncons::jsonpath;

using resources = jsonpath::detail::static_resources<json_value>;
using compiler = jsonpath::detail::jsonpath_evaluator<json_value, const json_value&>;
using path = jsonpath::detail::path_expression<json_value, const json_value&>;
using context = jsonpath::detail::eval_context<json_value, const json_value&>;
using node = jsonpath::basic_path_node<char>;

// How large the largest regular expression is that evaluating may use, or 0; rather too large than
// too small, since a string may look like one.
std::size_t regex_parts(std::string_view text) {
  std::size_t largest = text.find("tokenize") == std::string_view::npos ? 0 : 1;
  const auto behind_blanks = [&](std::size_t at) {
    return std::min(text.find_first_not_of(" \t\r\n", at), text.size());
  };
  for (auto at = text.find('='); at != std::string_view::npos; at = text.find('=', at + 1)) {
    const auto tilde = behind_blanks(at + 1);
    if (!text.substr(tilde).starts_with('~')) {
      continue;
    }
    const auto slash = behind_blanks(tilde + 1);
    const auto pattern = text.substr(std::min(slash + 1, text.size()));
    std::size_t size = 0;
    while (size < pattern.size() && pattern[size] != '/') {
      size += pattern[size] == '\\' ? 2 : 1;
    }
    largest = std::max(largest, 1 + written_out(pattern.substr(0, size)));
  }
  return largest;
}

// Each has at least one of these characters.
std::size_t most_operators(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char character) {
    return std::string_view("|&=!<>+-*/%").find(character) != std::string_view::npos;
  }));
}

void check_length(const std::string& text) {
  const auto parts = regex_parts(text);
  const auto longest = parts > 0 ? longest_expression_with_regex : longest_expression;
  if (std::max(text.size(), parts) > longest) {
    throw evaluation_refused("The expression has " + std::to_string(std::max(text.size(), parts)) +
                             " bytes, more than the " + std::to_string(longest) +
                             " that can be evaluated safely.");
  }
}

// Makes something the current one on this thread.
template <class T>
class current_scope {
 public:
  current_scope(T*& current, T& value)
      : current_(current), outer_(std::exchange(current, &value)) {}
  ~current_scope() { current_ = outer_; }
  current_scope(const current_scope&) = delete;
  current_scope& operator=(const current_scope&) = delete;

 private:
  T*& current_;
  T* const outer_;
};

}  // namespace

struct jsonpath_expression::compiled {
  explicit compiled(const std::string& text)
      : parts(regex_parts(text)), owned(custom_json_functions()), expression([&] {
          operators.reserve(most_operators(text));
          const current_scope scope(current_operators(), operators);
          return compiler().compile(owned, text);
        }()) {}

  std::size_t parts;
  std::vector<placed_operator> operators;
  resources owned;  // the expression refers to these two
  path expression;
};

jsonpath_expression::jsonpath_expression(const std::string& text)
    : text_(text), compiled_([&] {
        try {
          check_length(text);
          return std::make_unique<const compiled>(text);
        } catch (const std::exception& error) {
          throw exceptions::query_error(error.what());
        }
      }()) {}

jsonpath_expression::~jsonpath_expression() = default;

jsonpath_matches jsonpath_expression::evaluate(const json_document& document) const {
  evaluation_state state;
  state.regex_parts = compiled_->parts;
  const current_scope scope(current_evaluation(), state);
  jsonpath_matches matches;
  matches.budget = std::make_unique<evaluation_budget>();
  try {
    const auto computed = std::make_shared<context>();
    compiled_->expression.evaluate(
        *computed, document.root(), node{}, document.root(),
        [&](const node&, const json_value& value) {
          constexpr std::size_t of_growth = 3 * sizeof(const json_value*);
          matches.budget->allocated(of_growth);
          matches.values.push_back(&value);
        },
        jsonpath::result_options());
    matches.computed = computed;
    spend();
  } catch (const std::exception& error) {
    throw exceptions::query_error(error.what());
  }
  if (state.error && (state.is_refused || matches.values.empty())) {
    throw exceptions::query_error(state.error.message());
  }
  return matches;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
