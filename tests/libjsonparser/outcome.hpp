#pragma once

#include <iomanip>
#include <sstream>
#include <string>

#include "libjsonparser/exceptions.hpp"

/// What a query returns or throws, as one text that a table can hold.
namespace kavu_test {

template <class Class>
bool is(const std::exception& failure) {
  return dynamic_cast<const Class*>(&failure) != nullptr;
}

inline std::string failure_text(const std::exception& failure) {
  using namespace brunvik::monitoring_modules::libjsonparser::exceptions;
  using namespace brunvik::monitoring_modules::libparser::exceptions;
  const char* const name = is<parse_error>(failure)              ? "parse_error"
                           : is<query_error>(failure)            ? "query_error"
                           : is<unexpected_array_error>(failure) ? "unexpected_array_error"
                           : is<conversion_error>(failure)       ? "conversion_error"
                           : is<empty_result>(failure)           ? "empty_result"
                           : is<unexpected_type_error>(failure)  ? "unexpected_type_error"
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
