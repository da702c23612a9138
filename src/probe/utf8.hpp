#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Text from outside, made fit to be shown. Independent of the locale: the width of a character
// and what is printable are decided here, not by the C library.
namespace kavu_probe {

inline constexpr char32_t replacement_character = U'\uFFFD';

/// Takes the first character off `rest`, which must not be empty. Bytes that are not UTF-8 give
/// the replacement character, one for each maximal part of a sequence.
char32_t take_character(std::string_view& rest) noexcept;

void append_character(std::string& text, char32_t character);

/// `bytes` with everything that is not UTF-8 replaced.
std::string valid_utf8(std::string_view bytes);

/// `bytes` as one line that cannot steer a terminal: control characters, and those that change
/// the direction of writing, stand as escapes (\n, \x1b, \u202e).
std::string printable(std::string_view bytes);

/// The same for a message that quotes `bytes`: of more than `longest` characters only the
/// beginning.
std::string quotable(std::string_view bytes, std::size_t longest = 120);

/// Columns that a printable text takes on a terminal.
std::size_t display_width(std::string_view text) noexcept;

/// The number of characters, as a limit on the length of an input counts them.
std::size_t character_count(std::string_view text) noexcept;

}  // namespace kavu_probe
