#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "libjsonparser/evaluation_budget.hpp"
#include "libjsonparser/guarded_regex.hpp"
#include "libjsonparser/json_value.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

/// In bytes; with a regular expression, `longest_expression_with_regex`.
///
/// The JSON library's evaluation was made for documents and expressions that one trusts. Time,
/// memory and the stack that walking takes are counted, see evaluation_budget.hpp; the bound is for
/// compiling, which recurses as well.
inline constexpr std::size_t longest_expression = 1024;

/// What an expression has found, in the order of the document. Values live in the document or
/// here: keep both for as long as they are used.
struct jsonpath_matches {
  std::vector<const json_value*> values;
  std::shared_ptr<const void> computed;

  /// What is left, and goes on counting until this is destroyed.
  std::unique_ptr<evaluation_budget> budget;
};

/// One compiled JSONPath expression. [any-thread]
class jsonpath_expression {
 public:
  /// Throws `query_error`.
  explicit jsonpath_expression(const std::string& text);
  ~jsonpath_expression();
  jsonpath_expression(const jsonpath_expression&) = delete;
  jsonpath_expression& operator=(const jsonpath_expression&) = delete;

  /// Throws `query_error` when it takes more than an evaluation may (see evaluation_budget.hpp), or
  /// a function in it does not take its argument: `abs`, `tokenize`, `eval`, `number` and `choose`
  /// always, the others when nothing has matched.
  [[nodiscard]] jsonpath_matches evaluate(const json_document& document) const;

 private:
  struct compiled;

  const std::string text_;
  const std::unique_ptr<const compiled> compiled_;
};

}  // namespace brunvik::monitoring_modules::libjsonparser
