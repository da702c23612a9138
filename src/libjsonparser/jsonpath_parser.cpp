#include "libjsonparser/jsonpath_parser.hpp"

#include <utility>

#include "libjsonparser/exceptions.hpp"
#include "libjsonparser/json_value.hpp"
#include "libjsonparser/jsonpath_expression.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

// Calls `use` with all that the query matches, at least one value. The expression is kept until
// then, whatever others compile meanwhile: it owns the constants that are written in it.
template <class Use>
auto with_matches(const json_document& document, jsonpath_expressions& expressions,
                  const std::string& query, Use&& use) {
  if (query.empty()) {
    throw libparser::exceptions::empty_result(query);
  }
  const auto expression = expressions.compile(query);
  const auto matches = expression->evaluate(document);
  if (matches.values.empty()) {
    throw libparser::exceptions::empty_result(query);
  }
  try {
    return use(matches.values);
  } catch (const evaluation_refused& refused) {
    throw exceptions::query_error(refused.what());
  }
}

const json_value& only(const std::vector<const json_value*>& values) {
  if (values.size() > 1) {
    throw exceptions::unexpected_array_error("Array size is: " + std::to_string(values.size()));
  }
  return *values.front();
}

template <class Convert>
auto find_one(const json_document& document, jsonpath_expressions& expressions,
              const std::string& query, Convert&& convert) {
  return with_matches(document, expressions, query,
                      [&](const auto& values) { return convert(only(values)); });
}

[[noreturn]] void throw_not_offered() {
  throw exceptions::exception(libi18n::i18n_msg::verbatim("NOT YET IMPLEMENTED"));
}

}  // namespace

jsonpath_parser::jsonpath_parser(std::string_view text,
                                 std::shared_ptr<jsonpath_expressions> expressions)
    : document_(std::make_unique<const json_document>(text)),
      expressions_(expressions ? std::move(expressions)
                               : std::make_shared<jsonpath_expressions>()) {}

jsonpath_parser::~jsonpath_parser() = default;

std::string jsonpath_parser::query_string(const std::string& query) const {
  return find_one(*document_, *expressions_, query, to_text);
}

std::int64_t jsonpath_parser::query_integer(const std::string& query) const {
  return find_one(*document_, *expressions_, query, to_integer);
}

double jsonpath_parser::query_float(const std::string& query) const {
  return find_one(*document_, *expressions_, query, to_float);
}

bool jsonpath_parser::query_boolean(const std::string& query) const {
  return find_one(*document_, *expressions_, query, to_boolean);
}

jsonpath_parser::list jsonpath_parser::query_list(const std::string& query) const {
  try {
    return with_matches(*document_, *expressions_, query, [](const auto& values) {
      // Together they may be much larger than the document, when it is nested.
      auto& budget = *evaluation_budget::current();
      budget.require(values.size() * sizeof(std::string));
      budget.allocated(values.size() * sizeof(std::string));
      list texts;
      texts.reserve(values.size());
      for (const auto* value : values) {
        texts.push_back(to_text(*value));
        budget.allocated(texts.back().capacity());
        budget.spend();
      }
      return texts;
    });
  } catch (const libparser::exceptions::empty_result&) {
    return {};
  }
}

jsonpath_parser::object jsonpath_parser::query_object(const std::string& /*query*/) const {
  throw_not_offered();
}

std::vector<jsonpath_parser::object> jsonpath_parser::query_list_of_objects(
    const std::string& /*query*/) const {
  throw_not_offered();
}

std::map<std::string, jsonpath_parser::list> jsonpath_parser::query_object_of_lists(
    const std::string& /*query*/) const {
  throw_not_offered();
}

std::string jsonpath_parser::serialize() const {
  return serialize_value(document_->root());
}

std::optional<std::int64_t> jsonpath_parser::query_counter(const std::string& query) const {
  return find_one(*document_, *expressions_, query, to_counter);
}

}  // namespace brunvik::monitoring_modules::libjsonparser
