#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Arranging printable text in columns, by the width that it takes on a terminal.
namespace kavu_probe {

/// Fills up with blanks to `width` columns; a longer text stays as it is.
std::string pad_right(std::string_view text, std::size_t width);
std::string pad_left(std::string_view text, std::size_t width);

/// Cuts to `width` columns, the last one an ellipsis, when it is longer.
std::string shorten(std::string_view text, std::size_t width);

/// Breaks into lines of at most `width` columns, at blanks, at "\n", and inside a word only when
/// it is longer than a line or its script writes without blanks.
std::vector<std::string> wrap(std::string_view text, std::size_t width);

}  // namespace kavu_probe
