#pragma once

#include <string>

#include "libi18n/i18n_exception.hpp"
#include "libtimeutils/messages.hpp"

namespace brunvik::monitoring_modules::libtimeutils::exceptions {

class exception : public libi18n::_i18n_exception<libi18n::i18n_exception> {
 public:
  using _i18n_exception::_i18n_exception;
};

/// A text that is no time in the form that was asked for.
class could_not_parse : public libi18n::_i18n_exception<exception> {
 public:
  could_not_parse(const std::string& text, const std::string& format_string)
      : _i18n_exception(libi18n::make_msg(messages::could_not_parse(), text, format_string)) {}
};

}  // namespace brunvik::monitoring_modules::libtimeutils::exceptions
