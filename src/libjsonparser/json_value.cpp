#include "libjsonparser/json_value.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <jsoncons_ext/jsonpointer/jsonpointer.hpp>
#include <system_error>

#include "libjsonparser/decimal_text.hpp"
#include "libjsonparser/exceptions.hpp"
#include "libjsonparser/jsoncons_value.hpp"
#include "libjsonparser/number_text.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

using libparser::exceptions::empty_result;
using libparser::exceptions::unexpected_type_error;

constexpr const char* integer_type = "integer";
constexpr const char* float_type = "floating point";
constexpr const char* string_type = "string";

std::unique_ptr<const json_value> read(std::string_view text) {
  if (text.size() > largest_document) {
    throw exceptions::parse_error("The document has " + std::to_string(text.size()) +
                                  " bytes, more than the " + std::to_string(largest_document) +
                                  " that can be read.");
  }
  try {
    return std::make_unique<const json_value>(read_json(text));
  } catch (const std::exception& error) {
    throw exceptions::parse_error(error.what());
  }
}

// A failure's text is shown to people; a publisher may send megabytes.
std::string shortened(std::string_view text) {
  constexpr std::size_t enough = 200;
  if (text.size() <= enough) {
    return std::string(text);
  }
  auto length = enough;
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
    --length;  // not within a character
  }
  return std::string(text.substr(0, length)) + "...";
}

std::string_view characters(const json_value& value) {
  const auto view = value.as_string_view();
  return {view.data(), view.size()};
}

constexpr double first_beyond_64_bits = 9223372036854775808.0;  // 2^63

// What the document holds; a number that was calculated and has no digits has no text either.
std::string number_text(const json_value& value) {
  if (is_large_number(value)) {
    return shortened(characters(value));
  }
  const double number = value.as_double();
  if (std::isfinite(number)) {
    return serialize_value(value);
  }
  return std::isnan(number) ? "undefined result" : "result out of range";
}

[[noreturn]] void throw_unexpected_type(const json_value& value) {
  throw unexpected_type_error(std::string("Type is: ") + type_name(value));
}

[[noreturn]] void throw_not_whole(const json_value& value) {
  throw unexpected_type_error(std::string("Type is: ") + float_type +
                              ", value is: " + number_text(value));
}

std::int64_t integer_of_double(const json_value& value) {
  const double number = value.as_double();
  if (!(std::abs(number) < first_inexact_integer)) {
    throw exceptions::conversion_error(number_text(value), integer_type);
  }
  if (std::trunc(number) != number) {
    throw_not_whole(value);
  }
  return static_cast<std::int64_t>(number);
}

std::int64_t integer_of_decimal(const json_value& value) {
  const decimal number(characters(value));
  if (!number.is_whole()) {
    throw_not_whole(value);
  }
  if (const auto whole = number.truncated()) {
    return *whole;
  }
  throw exceptions::conversion_error(number_text(value), integer_type);
}

bool same_ignoring_case(std::string_view one, std::string_view other) {
  const auto lower = [](char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
  };
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [&](char left, char right) { return lower(left) == lower(right); });
}

}  // namespace

double approximate(const json_value& number) noexcept {
  if (!is_large_number(number)) {
    return number.as_double();
  }
  const auto text = characters(number);
  if (auto* const budget = evaluation_budget::current()) {
    budget->count(10 + text.size() / 2);
  }
  return nearest_double(text);
}

int compare_decimals(const json_value& left, const json_value& right) noexcept {
  struct digits {
    char place[32];
    std::string_view of(const json_value& number) noexcept {
      if (is_large_number(number)) {
        const auto text = characters(number);
        if (auto* const budget = evaluation_budget::current()) {
          budget->count(10 + text.size() / 4);
        }
        return text;
      }
      const auto write = [this](auto value) {
        return std::to_chars(place, place + sizeof place, value).ptr;
      };
      const char* const end = number.is_double()  ? write(number.as_double())
                              : number.is_int64() ? write(number.as<std::int64_t>())
                                                  : write(number.as<std::uint64_t>());
      return {place, static_cast<std::size_t>(end - place)};
    }
  };
  digits one;
  digits other;
  return decimal(one.of(left)).compare(decimal(other.of(right)));
}

json_document::json_document(std::string_view text) : root_(read(text)) {}

json_document::~json_document() = default;

const char* type_name(const json_value& value) {
  if (value.is_null()) {
    return "null";
  }
  if (value.is_bool()) {
    return "boolean";
  }
  if (value.is_array()) {
    return "array";
  }
  if (value.is_object()) {
    return "object";
  }
  if (is_text(value)) {
    return string_type;
  }
  return value.is_double() || value.tag() == jsoncons::semantic_tag::bigdec ? float_type
                                                                            : integer_type;
}

std::string quotation(const json_value& value) {
  return value.is_array() || value.is_object() ? std::string("an ") + type_name(value)
         : value.is_number()                   ? number_text(value)
         : value.is_string()                   ? "'" + shortened(characters(value)) + "'"
                                               : "'" + to_text(value) + "'";
}

std::string to_text(const json_value& value) {
  if (value.is_string()) {
    if (auto* const budget = evaluation_budget::current()) {
      spend_on_text(characters(value).size());
      budget->require(characters(value).size());
    }
    return std::string(characters(value));
  }
  if (value.is_double() && !std::isfinite(value.as_double())) {
    throw exceptions::conversion_error(number_text(value), string_type);
  }
  return serialize_value(value);
}

std::int64_t to_integer(const json_value& value) {
  if (value.is_double()) {
    return integer_of_double(value);
  }
  if (is_large_number(value)) {
    return integer_of_decimal(value);
  }
  if (value.is<std::int64_t>() && !value.is_string()) {
    return value.as<std::int64_t>();
  }
  if (value.is_number()) {
    throw exceptions::conversion_error(number_text(value), integer_type);
  }
  if (!value.is_string()) {
    throw_unexpected_type(value);
  }
  if (const auto number = leading_integer(characters(value))) {
    return *number;
  }
  throw exceptions::conversion_error(shortened(characters(value)), integer_type);
}

double to_float(const json_value& value) {
  if (value.is_string()) {
    if (const auto number = leading_float(characters(value))) {
      return number->value;
    }
    throw exceptions::conversion_error(shortened(characters(value)), float_type);
  }
  if (!value.is_number()) {
    throw_unexpected_type(value);
  }
  const double number = value.as_double();
  if (!std::isfinite(number)) {
    throw exceptions::conversion_error(number_text(value), float_type);
  }
  return number;
}

std::optional<std::int64_t> to_counter(const json_value& value) {
  const double number = to_float(value);
  if (number < 0) {
    return std::nullopt;
  }
  if (value.is_int64()) {
    return value.as<std::int64_t>();
  }
  if (value.is_string()) {
    if (const auto digits = leading_float(characters(value))->digits; !digits.empty()) {
      if (const auto exact = decimal(digits).truncated()) {
        return exact;
      }
      throw exceptions::conversion_error(shortened(characters(value)), integer_type);
    }
  }
  if (!(number < (value.is_double() ? first_inexact_integer : first_beyond_64_bits))) {
    throw exceptions::conversion_error(
        value.is_string() ? shortened(characters(value)) : number_text(value), integer_type);
  }
  return static_cast<std::int64_t>(number);
}

bool to_boolean(const json_value& value) {
  if (value.is_bool()) {
    return value.as_bool();
  }
  const auto text = is_text(value) ? characters(value) : std::string_view();
  if (text != "true" && text != "false") {
    throw_unexpected_type(value);
  }
  return text == "true";
}

bool for_each_element(const json_value& value,
                      const std::function<void(const json_value&)>& visit) {
  if (!value.is_array()) {
    return false;
  }
  for (const auto& element : value.array_range()) {
    visit(element);
  }
  return true;
}

bool for_each_member(const json_value& value,
                     const std::function<void(const std::string&, const json_value&)>& visit) {
  if (!value.is_object()) {
    return false;
  }
  for (const auto& member : value.object_range()) {
    visit(std::string(member.key()), member.value());
  }
  return true;
}

const json_value& at_pointer(const json_value& root, const std::string& pointer) {
  using jsoncons::jsonpointer::jsonpointer_errc;
  std::error_code error;
  const auto& value = jsoncons::jsonpointer::get(root, pointer, error);
  if (error == jsonpointer_errc::key_not_found ||
      error == jsonpointer_errc::index_exceeds_array_size) {
    throw empty_result(pointer);
  }
  if (error) {
    throw exceptions::query_error(error.message());
  }
  return value;
}

const json_value* find_member_ignoring_case(const json_value& value, std::string_view name) {
  if (!value.is_object()) {
    return nullptr;
  }
  const json_value* found = nullptr;
  for (const auto& member : value.object_range()) {
    if (member.key() == name) {
      return &member.value();
    }
    if (found == nullptr && same_ignoring_case(member.key(), name)) {
      found = &member.value();
    }
  }
  return found;
}

const json_value* find_element(const json_value& value, std::size_t index) {
  return value.is_array() && index < value.size() ? &value.at(index) : nullptr;
}

bool is_array(const json_value& value) {
  return value.is_array();
}

bool is_object(const json_value& value) {
  return value.is_object();
}

}  // namespace brunvik::monitoring_modules::libjsonparser
