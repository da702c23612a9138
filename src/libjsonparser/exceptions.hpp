#pragma once

#include <string>

#include "libi18n/i18n_exception.hpp"
#include "libjsonparser/messages.hpp"

namespace brunvik::monitoring_modules {

/// What can go wrong with a query, whatever the document's format.
namespace libparser::exceptions {

/// Catch this to catch every failure of a parser, those of a format included.
class exception : public libi18n::_i18n_exception<libi18n::i18n_exception> {
 public:
  using _i18n_exception::_i18n_exception;
};

/// The query names nothing in this document.
class empty_result : public libi18n::_i18n_exception<exception> {
 public:
  explicit empty_result(const std::string& query)
      : _i18n_exception(libi18n::make_msg(messages::empty_result(), query)) {}
};

/// The value is there, and of a type that was not asked for.
class unexpected_type_error : public libi18n::_i18n_exception<exception> {
 public:
  /// `detail` names the type that was found.
  explicit unexpected_type_error(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::unexpected_type(), detail)) {}
};

}  // namespace libparser::exceptions

/// What can go wrong with JSON.
namespace libjsonparser::exceptions {

class exception : public libi18n::_i18n_exception<libparser::exceptions::exception> {
 public:
  using _i18n_exception::_i18n_exception;
};

/// The text is not one JSON document, or one that is too large or too deep to be read safely.
class parse_error : public libi18n::_i18n_exception<exception> {
 public:
  explicit parse_error(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::parse(), detail)) {}
};

/// The query is malformed, or cannot be evaluated on this document.
class query_error : public libi18n::_i18n_exception<exception> {
 public:
  explicit query_error(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::query(), detail)) {}
};

/// Several values where one was asked for.
class unexpected_array_error : public libi18n::_i18n_exception<exception> {
 public:
  explicit unexpected_array_error(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::unexpected_array(), detail)) {}
};

/// A value that the type asked for cannot hold.
class conversion_error : public libi18n::_i18n_exception<exception> {
 public:
  conversion_error(const std::string& value, const std::string& type_name)
      : _i18n_exception(libi18n::make_msg(messages::conversion(), value, type_name)) {}
};

}  // namespace libjsonparser::exceptions

}  // namespace brunvik::monitoring_modules
