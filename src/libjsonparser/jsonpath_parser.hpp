#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "libjsonparser/jsonpath_expressions.hpp"
#include "libjsonparser/parser_interface.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

class json_document;

/// Questions in JSONPath: `$.plant.boilers[0].temperature`.
///
/// The queries for one value throw `empty_result` when nothing matches and `unexpected_array_error`
/// when several values do. `query_list` returns all matches. The function `eval(x)` may be used in
/// expressions: it gives the number, boolean or null that it is given, and turns a string whose
/// text is one JSON value into that value.
///
/// What a publisher sends must not stop the process, so a query fails with `query_error` rather
/// than use up stack, memory or time; see jsonpath_expression.hpp for the bounds.
class jsonpath_parser : public libparser::parser_interface {
 public:
  /// Reads `text`; throws `parse_error`. Give all parsers the same `expressions`, so that each
  /// expression is compiled once; without, this parser has its own.
  explicit jsonpath_parser(std::string_view text,
                           std::shared_ptr<jsonpath_expressions> expressions = nullptr);
  ~jsonpath_parser() override;

  [[nodiscard]] std::string query_string(const std::string& query) const override;
  [[nodiscard]] std::int64_t query_integer(const std::string& query) const override;
  [[nodiscard]] double query_float(const std::string& query) const override;
  [[nodiscard]] bool query_boolean(const std::string& query) const override;
  [[nodiscard]] list query_list(const std::string& query) const override;

  /// Not offered in this dialect: these three always throw.
  [[nodiscard]] object query_object(const std::string& query) const override;
  [[nodiscard]] std::vector<object> query_list_of_objects(const std::string& query) const override;
  [[nodiscard]] std::map<std::string, list> query_object_of_lists(
      const std::string& query) const override;

  [[nodiscard]] std::string serialize() const override;
  [[nodiscard]] std::optional<std::int64_t> query_counter(const std::string& query) const override;

 private:
  const std::unique_ptr<const json_document> document_;
  const std::shared_ptr<jsonpath_expressions> expressions_;
};

}  // namespace brunvik::monitoring_modules::libjsonparser
