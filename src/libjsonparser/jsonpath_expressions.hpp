#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace brunvik::monitoring_modules::libjsonparser {

class jsonpath_expression;

/// Keeps compiled JSONPath expressions, since compiling one takes longer than evaluating it.
///
/// Meant to be shared by all parsers of a module: every new message makes a new parser, and all of
/// them ask the same few questions. It holds at most `capacity` expressions and lets go of the one
/// that has not been used for longest; parsers keep what they are using. [any-thread]
class jsonpath_expressions {
 public:
  /// Enough for the channels of some two hundred sensors, at a few kilobytes each.
  static constexpr std::size_t default_capacity = 2048;

  /// A `capacity` of 0 keeps nothing.
  explicit jsonpath_expressions(std::size_t capacity = default_capacity);
  ~jsonpath_expressions();
  jsonpath_expressions(const jsonpath_expressions&) = delete;
  jsonpath_expressions& operator=(const jsonpath_expressions&) = delete;

  /// The compiled form of `text`. Throws `query_error` for a malformed one, which is not kept.
  [[nodiscard]] std::shared_ptr<const jsonpath_expression> compile(const std::string& text);

  /// How many are kept, and how many times one had to be compiled.
  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] std::size_t compilations() const;

 private:
  struct kept;
  const std::unique_ptr<kept> kept_;
};

}  // namespace brunvik::monitoring_modules::libjsonparser
