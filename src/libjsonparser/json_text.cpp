#include "libjsonparser/json_value.hpp"  // before the library: it declares its policy

#include <charconv>
#include <cstdint>
#include <jsoncons/json_filter.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "libjsonparser/evaluation_budget.hpp"
#include "libjsonparser/jsoncons_value.hpp"
#include "libjsonparser/number_text.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

// Turns numbers with a fraction or an exponent into doubles where nobody is misled by these. What
// is left keeps its text, so that it converts to integers exactly and still is no integer to "/".
// The library's own conversion rounds without a word, depends on the locale, or refuses the whole
// document for one number that is out of range.
class number_reader : public jsoncons::basic_json_filter<char> {
 public:
  using basic_json_filter::basic_json_filter;

 private:
  JSONCONS_VISITOR_RETURN_TYPE visit_string(const string_view_type& value,
                                            jsoncons::semantic_tag tag,
                                            const jsoncons::ser_context& context,
                                            std::error_code& error) override {
    const std::string_view text(value.data(), value.size());
    if (tag != jsoncons::semantic_tag::bigdec) {
      destination().string_value(value, tag, context, error);
      JSONCONS_VISITOR_RETURN;
    }
    const double number = nearest_double(text);
    if (may_stand_for(number, text)) {
      destination().double_value(number, jsoncons::semantic_tag::none, context, error);
    } else {
      destination().string_value(value, tag, context, error);
    }
    JSONCONS_VISITOR_RETURN;
  }
};

// Keeps the one number that a reader passes on.
class kept_number : public jsoncons::default_json_visitor {
 public:
  json_value value;

 private:
  JSONCONS_VISITOR_RETURN_TYPE visit_double(double number, jsoncons::semantic_tag tag,
                                            const jsoncons::ser_context& /*context*/,
                                            std::error_code& /*error*/) override {
    value = json_value(number, tag);
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_string(const string_view_type& text,
                                            jsoncons::semantic_tag tag,
                                            const jsoncons::ser_context& /*context*/,
                                            std::error_code& /*error*/) override {
    value = json_value(text, tag);
    JSONCONS_VISITOR_RETURN;
  }
};

template <class Integer>
std::optional<json_value> integer_in(std::string_view text) {
  Integer number = 0;
  const auto* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end) {
    return std::nullopt;
  }
  return json_value(number);
}

// Where the library writes to. The text of a match may be as large as the document.
class counted_text {
 public:
  using value_type = char;

  explicit counted_text(std::string& text) : text_(&text) {}
  void push_back(char character) {
    before_writing(1);
    text_->push_back(character);
  }
  void append(const char* characters, std::size_t size) {
    before_writing(size);
    text_->append(characters, size);
  }
  void flush() {}

 private:
  void before_writing(std::size_t size) {
    auto* const budget = evaluation_budget::current();
    if (budget == nullptr) {
      return;
    }
    budget->spend(1 + size / evaluation_budget::bytes_of_step);
    if (text_->size() + size > text_->capacity()) {
      budget->require(3 * (text_->size() + size));
    }
  }

  std::string* text_;
};

}  // namespace

json_value read_number(std::string_view text) {
  if (text.find_first_of(".eE") != std::string_view::npos) {
    kept_number kept;
    number_reader(kept).string_value(text, jsoncons::semantic_tag::bigdec);
    return std::move(kept.value);
  }
  if (auto number = integer_in<std::int64_t>(text)) {
    return *std::move(number);
  }
  if (auto number = integer_in<std::uint64_t>(text)) {
    return *std::move(number);
  }
  return {text, jsoncons::semantic_tag::bigint};
}

json_value read_json(std::string_view text) {
  if (text.starts_with("\xef\xbb\xbf")) {  // the byte order mark that some editors write
    text.remove_prefix(3);
  }
  // It reserves room for a thousand values at once, which is no work.
  auto decoder = without_steps([] { return jsoncons::json_decoder<json_value>(); });
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

std::string serialize_value(const json_value& value) {
  // A number beyond a double's range stays one, instead of becoming a null.
  const auto options = jsoncons::basic_json_options<char>()
                           .inf_to_num("1e9999")
                           .neginf_to_num("-1e9999")
                           .bignum_format(jsoncons::bignum_format_kind::raw);
  std::string text;
  jsoncons::basic_compact_json_encoder<char, counted_text> encoder(counted_text(text), options);
  value.dump(encoder);
  return text;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
