#include "libjsonparser/jsonpointer_parser.hpp"

#include "libjsonparser/exceptions.hpp"

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

using libparser::exceptions::unexpected_type_error;
using list = libparser::parser_interface::list;
using object = libparser::parser_interface::object;

[[noreturn]] void throw_wrong_type(const std::string& query, const json_value& value) {
  throw unexpected_type_error("Type of \"" + query + "\" is: " + type_name(value));
}

list as_list(const json_value& value, const std::string& query) {
  list elements;
  if (!for_each_element(value,
                        [&](const json_value& element) { elements.push_back(to_text(element)); })) {
    throw_wrong_type(query, value);
  }
  return elements;
}

object as_object(const json_value& value, const std::string& query) {
  object members;
  if (!for_each_member(value, [&](const std::string& name, const json_value& member) {
        members.emplace(name, to_text(member));
      })) {
    throw_wrong_type(query, value);
  }
  return members;
}

// What `make` returns, or an empty collection when the query names nothing.
template <class Make>
auto or_empty(Make&& make) -> decltype(make()) {
  try {
    return make();
  } catch (const libparser::exceptions::empty_result&) {
    return {};
  }
}

}  // namespace

jsonpointer_parser::jsonpointer_parser(std::string_view text)
    : document_(std::make_unique<const json_document>(text)) {}

jsonpointer_parser::~jsonpointer_parser() = default;

std::string jsonpointer_parser::query_string(const std::string& query) const {
  return to_text(resolve(query));
}

std::int64_t jsonpointer_parser::query_integer(const std::string& query) const {
  return to_integer(resolve(query));
}

double jsonpointer_parser::query_float(const std::string& query) const {
  return to_float(resolve(query));
}

bool jsonpointer_parser::query_boolean(const std::string& query) const {
  return to_boolean(resolve(query));
}

list jsonpointer_parser::query_list(const std::string& query) const {
  return or_empty([&] { return as_list(resolve(query), query); });
}

object jsonpointer_parser::query_object(const std::string& query) const {
  return or_empty([&] { return as_object(resolve(query), query); });
}

std::vector<object> jsonpointer_parser::query_list_of_objects(const std::string& query) const {
  return or_empty([&] {
    const auto& value = resolve(query);
    std::vector<object> objects;
    if (!for_each_element(value, [&](const json_value& element) {
          objects.push_back(as_object(element, child_query(query, std::to_string(objects.size()))));
        })) {
      throw_wrong_type(query, value);
    }
    return objects;
  });
}

std::map<std::string, list> jsonpointer_parser::query_object_of_lists(
    const std::string& query) const {
  return or_empty([&] {
    const auto& value = resolve(query);
    std::map<std::string, list> lists;
    if (!for_each_member(value, [&](const std::string& name, const json_value& member) {
          lists.emplace(name, as_list(member, child_query(query, name)));
        })) {
      throw_wrong_type(query, value);
    }
    return lists;
  });
}

std::string jsonpointer_parser::serialize() const {
  return serialize_value(root());
}

std::optional<std::int64_t> jsonpointer_parser::query_counter(const std::string& query) const {
  return to_counter(resolve(query));
}

const json_value& jsonpointer_parser::resolve(const std::string& query) const {
  return at_pointer(root(), query);
}

std::string jsonpointer_parser::child_query(const std::string& query,
                                            std::string_view child) const {
  std::string result = query + "/";
  for (const char character : child) {
    if (character == '~') {
      result += "~0";
    } else if (character == '/') {
      result += "~1";
    } else {
      result.push_back(character);
    }
  }
  return result;
}

const json_value& jsonpointer_parser::root() const {
  return document_->root();
}

}  // namespace brunvik::monitoring_modules::libjsonparser
