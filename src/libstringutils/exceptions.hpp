#pragma once

#include <string>
#include <string_view>

#include "libexception/exception.hpp"

/// Mistakes in how this library is used: they show a fault of the program, not of a user's input,
/// and so carry no message that could be translated.
namespace brunvik::monitoring_modules::libstringutils::exceptions {

class exception : public libexception::_exception<libexception::exception> {
 public:
  using _exception::_exception;
};

/// A placeholder names an argument that was not given.
class placeholder_index_not_in_arguments : public libexception::_exception<exception> {
 public:
  /// `index` as it is written in the text.
  explicit placeholder_index_not_in_arguments(std::string_view index)
      : _exception("Index " + std::string(index) + " is too high for argument list.") {}
};

/// A percent sign that starts no placeholder.
class format_string_error : public libexception::_exception<exception> {
 public:
  format_string_error() : _exception("Malformed placeholder in format string.") {}
};

/// A random string was asked for from an alphabet without characters.
class empty_alphabet : public libexception::_exception<exception> {
 public:
  empty_alphabet() : _exception("The alphabet of a random string generator is empty.") {}
};

}  // namespace brunvik::monitoring_modules::libstringutils::exceptions
