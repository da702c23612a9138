#pragma once

#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libi18n::messages {

/// For a failure that has nothing but the words of the library that it comes from.
inline const i18n_msg& generic() {
  static const i18n_msg message{"libi18n.error.generic", "An error occurred. %0:s"};
  return message;
}

}  // namespace brunvik::monitoring_modules::libi18n::messages
