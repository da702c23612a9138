#pragma once

#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules {

namespace libparser::messages {

inline const libi18n::i18n_msg& empty_result() {
  static const libi18n::i18n_msg message{"libparser.error.empty_result",
                                         "The queried field \"%0:s\" is empty."};
  return message;
}

inline const libi18n::i18n_msg& unexpected_type() {
  static const libi18n::i18n_msg message{"libparser.error.unexpected_type",
                                         "The received value has an unexpected data type. %0:s"};
  return message;
}

}  // namespace libparser::messages

namespace libjsonparser::messages {

inline const libi18n::i18n_msg& parse() {
  static const libi18n::i18n_msg message{"libjsonparser.error.parse",
                                         "The received JSON data could not be parsed. %0:s"};
  return message;
}

inline const libi18n::i18n_msg& query() {
  static const libi18n::i18n_msg message{"libjsonparser.error.query",
                                         "The provided JSONPath is incorrect. %0:s"};
  return message;
}

inline const libi18n::i18n_msg& unexpected_array() {
  static const libi18n::i18n_msg message{
      "libjsonparser.error.unexpected_array",
      "The received value is an array instead of a single value. %0:s"};
  return message;
}

inline const libi18n::i18n_msg& conversion() {
  static const libi18n::i18n_msg message{"libjsonparser.error.conversion",
                                         "'%0:s' could not be converted to '%1:s'."};
  return message;
}

}  // namespace libjsonparser::messages

}  // namespace brunvik::monitoring_modules
