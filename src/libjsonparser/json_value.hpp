#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace jsoncons {
template <typename CharT, typename Policy, typename Allocator>
class basic_json;
}

/// JSON values as the rest of this library sees them: by reference, through the functions below.
///
/// The type itself is the JSON library's. It is only declared here, because its headers take very
/// long to compile: jsoncons_value.hpp completes it for the files that know it.
namespace brunvik::monitoring_modules::libjsonparser {

struct value_policy;
template <class T>
class counted_allocator;
using json_value = jsoncons::basic_json<char, value_policy, counted_allocator<char>>;

/// A publisher decides what a document looks like, so there are bounds. Reading takes up to some
/// twenty times the text's size in memory, and whatever walks through a document takes stack for
/// every level.
inline constexpr std::size_t largest_document = 16 * 1024 * 1024;
inline constexpr int deepest_nesting = 256;

/// A document that has been read.
class json_document {
 public:
  /// Throws `parse_error` when `text` is not exactly one JSON value in UTF-8, or beyond a bound.
  explicit json_document(std::string_view text);
  ~json_document();
  json_document(const json_document&) = delete;
  json_document& operator=(const json_document&) = delete;

  [[nodiscard]] const json_value& root() const noexcept { return *root_; }

 private:
  std::unique_ptr<const json_value> root_;
};

/// What a value is called in failure texts: "null", "boolean", "integer", "floating point",
/// "string", "array" or "object".
[[nodiscard]] const char* type_name(const json_value& value);

/// The value for a failure's text: its beginning, or the type of an array or object.
[[nodiscard]] std::string quotation(const json_value& value);

/// The conversions of `parser_interface`; each throws as said there.
[[nodiscard]] std::string to_text(const json_value& value);
[[nodiscard]] std::int64_t to_integer(const json_value& value);
[[nodiscard]] double to_float(const json_value& value);
[[nodiscard]] std::optional<std::int64_t> to_counter(const json_value& value);
[[nodiscard]] bool to_boolean(const json_value& value);

/// The value as compact JSON text.
[[nodiscard]] std::string serialize_value(const json_value& value);

/// Calls `visit` with each element or member in order and returns true; returns false and does
/// nothing for a value that is no array, or no object.
[[nodiscard]] bool for_each_element(const json_value& value,
                                    const std::function<void(const json_value&)>& visit);
[[nodiscard]] bool for_each_member(
    const json_value& value,
    const std::function<void(const std::string& name, const json_value&)>& visit);

/// The value of that JSON Pointer below `root`. Throws `query_error` or `empty_result`.
[[nodiscard]] const json_value& at_pointer(const json_value& root, const std::string& pointer);

/// The member of that name, upper and lower case alike; null when there is none or `value` is no
/// object.
[[nodiscard]] const json_value* find_member_ignoring_case(const json_value& value,
                                                          std::string_view name);
/// Null when there is no such element or `value` is no array.
[[nodiscard]] const json_value* find_element(const json_value& value, std::size_t index);
[[nodiscard]] bool is_array(const json_value& value);
[[nodiscard]] bool is_object(const json_value& value);

}  // namespace brunvik::monitoring_modules::libjsonparser
