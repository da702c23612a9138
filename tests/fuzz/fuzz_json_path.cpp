// First line: a query; the rest: a document.

#include <cerrno>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "fuzz/fuzz_input.hpp"
#include "libjsonparser/case_insensitive_jsonpointer_parser.hpp"
#include "libjsonparser/exceptions.hpp"
#include "libjsonparser/jsonpath_parser.hpp"
#include "libjsonparser/jsonpointer_parser.hpp"

namespace {

namespace json = brunvik::monitoring_modules::libjsonparser;
namespace libparser = brunvik::monitoring_modules::libparser;
using kavu_test::require;

template <class Query>
auto value_of(Query&& query) -> std::optional<decltype(query())> {
  std::optional<decltype(query())> value;
  kavu_test::succeeds<libparser::exceptions::exception>([&] { value = query(); });
  return value;
}

std::string digits_of(double number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

bool is_whole_number(const std::string& text) {
  const auto digits = text.substr(text.starts_with('-') ? 1 : 0);
  return !digits.empty() && digits.size() < 19 &&
         digits.find_first_not_of("0123456789") == std::string::npos;
}

// The C library reads the same numbers out of the value's text.
void check_numbers(const libparser::parser_interface& parser, const std::string& query,
                   const std::string& text) {
  const auto floating = value_of([&] { return parser.query_float(query); });
  const auto integer = value_of([&] { return parser.query_integer(query); });
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  const double expected = strtod_l(text.c_str(), nullptr, c_locale);
  if (floating) {
    require(std::isfinite(*floating) && *floating == expected, "a number keeps its value");
    const json::jsonpointer_parser again(digits_of(*floating));
    require(again.query_float("") == *floating, "a number is read again as the same number");
  }
  if (integer) {
    errno = 0;
    const bool as_digits = std::strtoll(text.c_str(), nullptr, 10) == *integer && errno == 0;
    const bool as_double = std::abs(expected) < 0x1p53 && static_cast<double>(*integer) == expected;
    require(as_digits || as_double, "an integer keeps its value");
    const json::jsonpointer_parser again(std::to_string(*integer));
    require(again.query_integer("") == *integer, "an integer is read again as the same integer");
  }
  require(!is_whole_number(text) || (floating && integer), "a whole number is read");
}

std::timespec cpu_time() {
  std::timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return time;
}

void ask(const libparser::parser_interface& parser, const std::string& query, bool cheap = true) {
  const auto start = cpu_time();
  value_of([&] { return parser.query_list(query); });
  // Half a second as shipped; sanitizers and coverage take ten times as long.
  require(cpu_time().tv_sec - start.tv_sec < 20, "an evaluation ends soon");
  if (!cheap) {  // a regular expression may take long before it is given up
    return;
  }
  value_of([&] { return parser.query_boolean(query); });
  if (const auto text = value_of([&] { return parser.query_string(query); })) {
    check_numbers(parser, query, *text);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto expressions = std::make_shared<json::jsonpath_expressions>(16);
  std::string_view document = kavu_test::as_text(data, size);
  const std::string query(kavu_test::take_line(document));
  std::unique_ptr<json::jsonpath_parser> parser;
  if (!kavu_test::succeeds<json::exceptions::parse_error>(
          [&] { parser = std::make_unique<json::jsonpath_parser>(document, expressions); })) {
    return 0;
  }
  const auto written = parser->serialize();
  const json::jsonpointer_parser pointer(written);
  require(pointer.serialize() == written, "a document is written as it was read");
  ask(*parser, query,
      query.find('~') == std::string::npos && query.find("tokenize") == std::string::npos);
  ask(pointer, query);
  value_of([&] { return pointer.query_object(query); });
  value_of([&] { return pointer.query_list_of_objects(query); });
  value_of([&] { return pointer.query_object_of_lists(query); });
  ask(json::case_insensitive_jsonpointer_parser(document), query);
  return 0;
}
