#pragma once

#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libtimeutils::messages {

inline const libi18n::i18n_msg& could_not_parse() {
  static const libi18n::i18n_msg message{
      "libtimeutils.error.could_not_parse",
      "Could not parse timestamp \"%0:s\". The timestamp is not in the expected format: "
      "\"%1:s\"."};
  return message;
}

}  // namespace brunvik::monitoring_modules::libtimeutils::messages
