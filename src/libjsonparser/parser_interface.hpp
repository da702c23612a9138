#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// Typed questions to one document that has been read before.
namespace brunvik::monitoring_modules::libparser {

/// One parsed document. What a query looks like is the implementation's dialect.
///
/// A query either returns its value or throws a failure that derives from
/// `libparser::exceptions::exception` (libjsonparser/exceptions.hpp); the document stays as it was
/// and can be asked again. No result depends on the locale of the process, and no number is ever
/// rounded, cut off or wrapped to make it fit. For one thread at a time.
///
/// Where a query returns values as text, a string stands for itself and everything else is its JSON
/// text, arrays and objects without blanks.
class parser_interface {
 public:
  using list = std::vector<std::string>;
  using object = std::map<std::string, std::string>;

  parser_interface() = default;
  parser_interface(const parser_interface&) = delete;
  parser_interface& operator=(const parser_interface&) = delete;
  virtual ~parser_interface() = default;

  /// Any value, as text.
  [[nodiscard]] virtual std::string query_string(const std::string& query) const = 0;

  /// A number that is exactly an integer of 64 bits, however it is written ("21.0", "1e3"), or a
  /// string that begins with an integer ("4x" is 4). Failures quote the number as the document has
  /// it.
  [[nodiscard]] virtual std::int64_t query_integer(const std::string& query) const = 0;

  /// A number, or a string that begins with one. Always finite.
  [[nodiscard]] virtual double query_float(const std::string& query) const = 0;

  /// A boolean, or the string "true" or "false".
  [[nodiscard]] virtual bool query_boolean(const std::string& query) const = 0;

  /// Several values; empty when nothing matches.
  [[nodiscard]] virtual list query_list(const std::string& query) const = 0;

  /// An object's members by name; empty when nothing matches.
  [[nodiscard]] virtual object query_object(const std::string& query) const = 0;

  /// An array of objects; empty when nothing matches.
  [[nodiscard]] virtual std::vector<object> query_list_of_objects(
      const std::string& query) const = 0;

  /// An object whose members are arrays; empty when nothing matches.
  [[nodiscard]] virtual std::map<std::string, list> query_object_of_lists(
      const std::string& query) const = 0;

  /// The whole document as compact JSON text.
  [[nodiscard]] virtual std::string serialize() const = 0;

  /// A number as `query_float` reads it, without its fraction: toward zero, and exact however large
  /// the number is. Nothing when it is negative.
  [[nodiscard]] virtual std::optional<std::int64_t> query_counter(
      const std::string& query) const = 0;
};

}  // namespace brunvik::monitoring_modules::libparser
