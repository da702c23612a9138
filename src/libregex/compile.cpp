#include "libregex/compile.hpp"

#include "liblog/severity.hpp"
#include "libregex/exceptions.hpp"

namespace brunvik::monitoring_modules::libregex {

namespace {

void write_failure(liblog::log_interface& log, const std::string& description,
                   const std::string& pattern) {
  log.log(liblog::severity::error, "Regex error: " + description + ". Pattern used: " + pattern);
}

[[noreturn]] void throw_failure(std::regex_constants::error_type code, const std::string& pattern) {
  namespace codes = std::regex_constants;
  if (code == codes::error_collate || code == codes::error_ctype) {
    throw exceptions::regex_character_class(pattern);
  }
  if (code == codes::error_escape) {
    throw exceptions::regex_escape_sequence(pattern);
  }
  if (code == codes::error_backref) {
    throw exceptions::regex_backreference(pattern);
  }
  if (code == codes::error_brack) {
    throw exceptions::regex_brackets(pattern);
  }
  if (code == codes::error_paren) {
    throw exceptions::regex_parentheses(pattern);
  }
  if (code == codes::error_brace) {
    throw exceptions::regex_braces(pattern);
  }
  if (code == codes::error_badbrace) {
    throw exceptions::regex_braces_content(pattern);
  }
  if (code == codes::error_range) {
    throw exceptions::regex_character_range(pattern);
  }
  if (code == codes::error_badrepeat) {
    throw exceptions::regex_repetition(pattern);
  }
  throw exceptions::regex_invalid(pattern);
}

}  // namespace

std::regex compile(liblog::log_interface& log, const std::string& pattern,
                   std::regex::flag_type flags) {
  if (pattern.size() > longest_pattern) {
    write_failure(log, "The pattern is longer than can be compiled safely", pattern);
    throw exceptions::regex_invalid(pattern);
  }
  try {
    return std::regex(pattern, flags);
  } catch (const std::regex_error& error) {
    write_failure(log, error.what(), pattern);
    throw_failure(error.code(), pattern);
  }
}

}  // namespace brunvik::monitoring_modules::libregex
