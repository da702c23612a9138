#include "libjsonparser/json_value.hpp"

#include <algorithm>
#include <cmath>
#include <jsoncons/json_filter.hpp>
#include <jsoncons_ext/jsonpointer/jsonpointer.hpp>
#include <stdexcept>
#include <system_error>

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

// Turns the digits of fractions and exponents into doubles: the library's own conversion depends on
// the locale, or refuses the whole document for one number that is out of range.
class number_reader : public jsoncons::basic_json_filter<char> {
 public:
  using basic_json_filter::basic_json_filter;

 private:
  JSONCONS_VISITOR_RETURN_TYPE visit_string(const string_view_type& value,
                                            jsoncons::semantic_tag tag,
                                            const jsoncons::ser_context& context,
                                            std::error_code& error) override {
    if (tag == jsoncons::semantic_tag::bigdec) {
      destination().double_value(nearest_double({value.data(), value.size()}),
                                 jsoncons::semantic_tag::none, context, error);
    } else {
      destination().string_value(value, tag, context, error);
    }
    JSONCONS_VISITOR_RETURN;
  }
};

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

std::string number_text(const json_value& value) {
  if (is_large_number(value)) {
    return std::string(characters(value));
  }
  const double number = value.as_double();
  if (std::isfinite(number)) {
    return serialize_value(value);
  }
  return std::isnan(number) ? "nan" : number > 0 ? "inf" : "-inf";
}

bool is_text(const json_value& value) {
  return value.is_string() && !is_large_number(value);
}

[[noreturn]] void throw_unexpected_type(const json_value& value) {
  throw unexpected_type_error(std::string("Type is: ") + type_name(value));
}

// A whole number that was written with a fraction or an exponent is exact up to this bound.
constexpr double largest_exact_integer = 9007199254740992.0;    // 2^53
constexpr double first_beyond_64_bits = 9223372036854775808.0;  // 2^63

std::int64_t integer_of_double(const json_value& value) {
  const double number = value.as_double();
  if (!(std::abs(number) < first_beyond_64_bits)) {
    throw exceptions::conversion_error(number_text(value), integer_type);
  }
  if (std::abs(number) > largest_exact_integer || std::trunc(number) != number) {
    throw_unexpected_type(value);
  }
  return static_cast<std::int64_t>(number);
}

void measure_value(const json_value& value, int depth, json_document::extent& result) {
  if (value.is_array()) {
    result.depth = std::max(result.depth, depth + 1);
    for (const auto& element : value.array_range()) {
      measure_value(element, depth + 1, result);
    }
  } else if (value.is_object()) {
    result.depth = std::max(result.depth, depth + 1);
    for (const auto& member : value.object_range()) {
      result.longest_string = std::max(result.longest_string, member.key().size());
      measure_value(member.value(), depth + 1, result);
    }
  } else if (value.is_string()) {
    result.longest_string = std::max(result.longest_string, characters(value).size());
  }
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
  return is_large_number(number) ? nearest_double(characters(number)) : number.as_double();
}

json_value read_json(std::string_view text) {
  if (text.starts_with("\xef\xbb\xbf")) {  // the byte order mark that some editors write
    text.remove_prefix(3);
  }
  jsoncons::json_decoder<json_value> decoder;
  number_reader reader(decoder);
  jsoncons::basic_json_parser<char> parser(jsoncons::basic_json_options<char>()
                                               .allow_comments(false)
                                               .max_nesting_depth(deepest_nesting)
                                               .lossless_number(true));
  parser.update(text.data(), text.size());
  parser.parse_some(reader);
  parser.finish_parse(reader);
  parser.check_done();
  if (!decoder.is_valid()) {
    throw std::runtime_error("Unexpected end of file.");
  }
  return decoder.get_result();
}

json_document::json_document(std::string_view text) : text_size_(text.size()), root_(read(text)) {}

json_document::~json_document() = default;

json_document::extent json_document::measure() const {
  extent result;
  measure_value(*root_, 0, result);
  return result;
}

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
  return value.is_double() ? float_type : integer_type;
}

std::string to_text(const json_value& value) {
  if (value.is_string()) {
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
  if (value.is<std::int64_t>() && !value.is_string()) {
    return value.as<std::int64_t>();
  }
  if (value.is_number()) {
    throw exceptions::conversion_error(shortened(number_text(value)), integer_type);
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
      return *number;
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

std::string serialize_value(const json_value& value) {
  // A number beyond a double's range stays one, instead of becoming a null.
  const auto options = jsoncons::basic_json_options<char>()
                           .inf_to_num("1e9999")
                           .neginf_to_num("-1e9999")
                           .bignum_format(jsoncons::bignum_format_kind::raw);
  std::string text;
  value.dump(text, options);
  return text;
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
    visit(member.key(), member.value());
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
