#pragma once

#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libregex::messages {

inline const libi18n::i18n_msg& character_class() {
  static const libi18n::i18n_msg message{
      "libregex.error.character_class",
      "Invalid character class name in regular expression \"%0:s\". Ensure character class names "
      "like [:digit:] or [:alpha:] are spelled correctly."};
  return message;
}

inline const libi18n::i18n_msg& escape_sequence() {
  static const libi18n::i18n_msg message{
      "libregex.error.escape_sequence",
      "Invalid escape sequence in regular expression \"%0:s\". Check backslash usage - common "
      "sequences include \\d (digit), \\s (space), \\w (word character)."};
  return message;
}

inline const libi18n::i18n_msg& backreference() {
  static const libi18n::i18n_msg message{
      "libregex.error.backreference",
      "Invalid backreference in regular expression \"%0:s\". Ensure backreferences like \\1 or \\2 "
      "refer to existing capture groups."};
  return message;
}

inline const libi18n::i18n_msg& brackets() {
  static const libi18n::i18n_msg message{
      "libregex.error.brackets",
      "Mismatched square brackets in regular expression \"%0:s\". Each '[' must have a "
      "corresponding ']'."};
  return message;
}

inline const libi18n::i18n_msg& parentheses() {
  static const libi18n::i18n_msg message{
      "libregex.error.parentheses",
      "Invalid parentheses or repetition in regular expression \"%0:s\". Check that each '(' has a "
      "matching ')' and that repetition operators (*, +, ?) follow a valid expression."};
  return message;
}

inline const libi18n::i18n_msg& braces() {
  static const libi18n::i18n_msg message{
      "libregex.error.braces",
      "Mismatched curly braces in regular expression \"%0:s\". Each '{' must have a corresponding "
      "'}'."};
  return message;
}

inline const libi18n::i18n_msg& braces_content() {
  static const libi18n::i18n_msg message{
      "libregex.error.braces_content",
      "Invalid content in curly braces in regular expression \"%0:s\". Braces should contain "
      "non-negative integers like {3} or {2,5} for repetition counts."};
  return message;
}

inline const libi18n::i18n_msg& character_range() {
  static const libi18n::i18n_msg message{
      "libregex.error.character_range",
      "Invalid character range in regular expression \"%0:s\". In ranges like [a-z], the first "
      "character must come before the second in the character set."};
  return message;
}

inline const libi18n::i18n_msg& repetition() {
  static const libi18n::i18n_msg message{
      "libregex.error.repetition",
      "Invalid repetition in regular expression \"%0:s\". Repetition operators (*, +, ?, {n}) must "
      "follow a valid expression, not another repetition operator."};
  return message;
}

inline const libi18n::i18n_msg& invalid() {
  static const libi18n::i18n_msg message{"libregex.error.invalid",
                                         "The regular expression \"%0:s\" is invalid."};
  return message;
}

}  // namespace brunvik::monitoring_modules::libregex::messages
