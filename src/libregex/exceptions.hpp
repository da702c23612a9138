#pragma once

#include <string>
#include <utility>

#include "libi18n/i18n_exception.hpp"
#include "libregex/messages.hpp"

/// What can be wrong with a regular expression. Each failure carries the whole pattern.
/// Catch `regex_invalid` to catch all of them.
namespace brunvik::monitoring_modules::libregex::exceptions {

/// A pattern that cannot be used, for a reason that has no class of its own.
class regex_invalid : public libi18n::_i18n_exception<libi18n::i18n_exception> {
 public:
  explicit regex_invalid(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::invalid(), pattern)) {}

 protected:
  explicit regex_invalid(libi18n::i18n_msg message) : _i18n_exception(std::move(message)) {}
};

class regex_character_class : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_character_class(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::character_class(), pattern)) {}
};

class regex_escape_sequence : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_escape_sequence(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::escape_sequence(), pattern)) {}
};

class regex_backreference : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_backreference(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::backreference(), pattern)) {}
};

class regex_brackets : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_brackets(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::brackets(), pattern)) {}
};

class regex_parentheses : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_parentheses(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::parentheses(), pattern)) {}
};

class regex_braces : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_braces(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::braces(), pattern)) {}
};

class regex_braces_content : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_braces_content(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::braces_content(), pattern)) {}
};

class regex_character_range : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_character_range(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::character_range(), pattern)) {}
};

class regex_repetition : public libi18n::_i18n_exception<regex_invalid> {
 public:
  explicit regex_repetition(const std::string& pattern)
      : _i18n_exception(libi18n::make_msg(messages::repetition(), pattern)) {}
};

}  // namespace brunvik::monitoring_modules::libregex::exceptions
