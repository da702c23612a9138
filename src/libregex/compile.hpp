#pragma once

#include <cstddef>
#include <regex>
#include <string>

#include "liblog/log_interface.hpp"

/// The standard library's regular expressions, with failures that a user understands.
///
/// Compiling and matching recurse with the length of pattern and text: what comes from outside
/// without a bound on its length must not be matched with a `std::regex`.
namespace brunvik::monitoring_modules::libregex {

/// Longer patterns are refused, since compiling one takes stack for every character.
inline constexpr std::size_t longest_pattern = 1024;

/// Compiles `pattern`. A malformed one is written to `log` at severity 3, with the library's own
/// words, and then thrown as the class of libregex/exceptions.hpp that fits; any other exception
/// passes unchanged. [any-thread]
[[nodiscard]] std::regex compile(liblog::log_interface& log, const std::string& pattern,
                                 std::regex::flag_type flags = std::regex_constants::ECMAScript);

}  // namespace brunvik::monitoring_modules::libregex
