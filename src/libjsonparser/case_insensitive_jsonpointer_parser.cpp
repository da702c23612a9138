#include "libjsonparser/case_insensitive_jsonpointer_parser.hpp"

#include <charconv>
#include <system_error>

#include "libjsonparser/exceptions.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

const json_value* element(const json_value& array, std::string_view segment) {
  std::size_t index = 0;
  const auto* const end = segment.data() + segment.size();
  const auto [rest, error] = std::from_chars(segment.data(), end, index);
  return error == std::errc() && rest == end ? find_element(array, index) : nullptr;
}

}  // namespace

const json_value& case_insensitive_jsonpointer_parser::resolve(const std::string& query) const {
  const auto* value = &root();
  if (query.empty()) {
    return *value;
  }
  std::string_view rest = query;
  for (bool last = false; !last;) {
    const auto dot = rest.find('.');
    const auto segment = rest.substr(0, dot);
    last = dot == std::string_view::npos;
    rest.remove_prefix(last ? rest.size() : dot + 1);
    if (is_array(*value)) {
      value = element(*value, segment);
    } else if (is_object(*value)) {
      value = find_member_ignoring_case(*value, segment);
    } else {
      throw exceptions::query_error(query);
    }
    if (value == nullptr) {
      throw libparser::exceptions::empty_result(query);
    }
  }
  return *value;
}

std::string case_insensitive_jsonpointer_parser::child_query(const std::string& query,
                                                             std::string_view child) const {
  return query.empty() ? std::string(child) : query + "." + std::string(child);
}

}  // namespace brunvik::monitoring_modules::libjsonparser
