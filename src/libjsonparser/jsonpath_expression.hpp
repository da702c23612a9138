#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "libjsonparser/json_value.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

// The JSON library's evaluation was made for documents and expressions that one trusts. Measured
// with its release 1.3.2 (g++ 12, -O2; a debug build takes twice as much): walking takes up to 210
// bytes of stack per level of the document, and 790 per call or 670 per filter that is nested in
// the expression; compiling a regular expression takes 420 per parenthesis, searching 320 per
// character and up to 2,600 where it has nested groups. The bounds keep what can come together
// below 220 KB, less than half of the smallest stack that is common for threads. What a search
// takes is watched besides, see guarded_regex.hpp.

/// In bytes.
inline constexpr std::size_t longest_expression = 1024;

/// In bytes, for an expression with `=~` or `tokenize`.
inline constexpr std::size_t longest_expression_with_regex = 512;

/// In bytes: with `=~` or `tokenize` in the expression, no string and no member's name in the
/// document may be longer.
inline constexpr std::size_t longest_searched_string = 8192;

/// With `..` in the expression: the document's size in bytes, multiplied with its depth for each
/// time that a subtree can be visited or copied anew. A small document that is nested on purpose
/// could else fill the memory or take hours.
inline constexpr std::size_t largest_descent = 64 * 1024 * 1024;

/// What an expression has found, in the order of the document. Values live in the document or
/// here: keep both for as long as they are used.
struct jsonpath_matches {
  std::vector<const json_value*> values;
  std::shared_ptr<const void> computed;
};

/// One compiled JSONPath expression. [any-thread]
class jsonpath_expression {
 public:
  /// Throws `query_error`.
  explicit jsonpath_expression(const std::string& text);
  ~jsonpath_expression();
  jsonpath_expression(const jsonpath_expression&) = delete;
  jsonpath_expression& operator=(const jsonpath_expression&) = delete;

  /// Throws `query_error` when the document is beyond a bound for this expression, or a function
  /// in it does not accept its argument and nothing else has matched.
  [[nodiscard]] jsonpath_matches evaluate(const json_document& document) const;

 private:
  struct compiled;

  void check_extent(const json_document& document) const;

  const std::string text_;
  const std::unique_ptr<const compiled> compiled_;
};

}  // namespace brunvik::monitoring_modules::libjsonparser
