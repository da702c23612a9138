#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "libjsonparser/json_value.hpp"
#include "libjsonparser/parser_interface.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

/// Questions in JSON Pointer (RFC 6901): `/plant/boilers/0/temperature`; the empty text is the
/// whole document.
///
/// The queries for one value throw `unexpected_type_error` for an array or object, but for
/// `query_string`, which renders any value. The queries for several want an array or object of the
/// form that they return, else they throw `unexpected_type_error`.
class jsonpointer_parser : public libparser::parser_interface {
 public:
  /// Reads `text`; throws `parse_error`.
  explicit jsonpointer_parser(std::string_view text);
  ~jsonpointer_parser() override;

  [[nodiscard]] std::string query_string(const std::string& query) const override;
  [[nodiscard]] std::int64_t query_integer(const std::string& query) const override;
  [[nodiscard]] double query_float(const std::string& query) const override;
  [[nodiscard]] bool query_boolean(const std::string& query) const override;
  [[nodiscard]] list query_list(const std::string& query) const override;
  [[nodiscard]] object query_object(const std::string& query) const override;
  [[nodiscard]] std::vector<object> query_list_of_objects(const std::string& query) const override;
  [[nodiscard]] std::map<std::string, list> query_object_of_lists(
      const std::string& query) const override;
  [[nodiscard]] std::string serialize() const override;
  [[nodiscard]] std::optional<std::int64_t> query_counter(const std::string& query) const override;

 protected:
  /// The one value that `query` names. Throws `query_error` for a malformed query, `empty_result`
  /// when there is no such value. The reference is good for as long as this parser lives.
  [[nodiscard]] virtual const json_value& resolve(const std::string& query) const;

  /// The query for one member or element of what `query` names; failures inside a collection say
  /// with it where they are.
  [[nodiscard]] virtual std::string child_query(const std::string& query,
                                                std::string_view child) const;

  [[nodiscard]] const json_value& root() const;

 private:
  const std::unique_ptr<const json_document> document_;
};

}  // namespace brunvik::monitoring_modules::libjsonparser
