#pragma once

#include <iomanip>
#include <sstream>
#include <string>
#include <type_traits>

#include "libjsonparser/exceptions.hpp"

/// What a query returns or throws, as one text that a table can hold.
namespace kavu_test {

inline std::string failure_text(const std::exception& failure) {
  namespace own = brunvik::monitoring_modules;
  const auto is = [&]<class Class>(std::type_identity<Class>) {
    return dynamic_cast<const Class*>(&failure) != nullptr;
  };
  using namespace own::libjsonparser::exceptions;
  using namespace own::libparser::exceptions;
  const char* const name =
      is(std::type_identity<parse_error>())              ? "parse_error"
      : is(std::type_identity<query_error>())            ? "query_error"
      : is(std::type_identity<unexpected_array_error>()) ? "unexpected_array_error"
      : is(std::type_identity<conversion_error>())       ? "conversion_error"
      : is(std::type_identity<empty_result>())           ? "empty_result"
      : is(std::type_identity<unexpected_type_error>())  ? "unexpected_type_error"
                                                         : "other failure";
  return std::string(name) + ": " + failure.what();
}

/// A failure is "class: text", a value its text with all of its digits.
template <class Query>
std::string outcome(Query&& query) {
  try {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::boolalpha << std::setprecision(17) << query();
    return text.str();
  } catch (const std::exception& failure) {
    return failure_text(failure);
  }
}

/// The outcome up to the colon behind a failure's class.
template <class Query>
std::string outcome_class(Query&& query) {
  const auto text = outcome(query);
  return text.substr(0, text.find(": "));
}

}  // namespace kavu_test
