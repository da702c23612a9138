#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Standard output and standard error of the program.
namespace kavu_probe {

/// Writes one line to standard output, at once. Throws probe_error when it cannot be written, as
/// to a pipe whose reader has gone.
void print_line(std::string_view line);

/// Writes text without a line end to standard output. Throws as print_line().
void print_text(std::string_view text);

/// Writes one line to standard error, with the program's name before it. Failures are ignored:
/// there is nowhere left to tell them.
void print_failure(std::string_view line) noexcept;

/// Writes one line to standard error as it stands.
void print_log_line(std::string_view line) noexcept;

/// What a file descriptor shows text on.
struct terminal {
  bool interactive = false;
  /// The cursor can be moved, to draw over what was drawn before.
  bool moves_cursor = false;
  /// Emphasis and colours are understood and wanted (NO_COLOR is not set).
  bool styled = false;
  std::size_t columns = 100;
  std::size_t rows = 0;
};

/// The terminal on standard output, as it is now.
terminal look_at_terminal();

/// Whether both outputs go to the same place (a terminal, a pipe after 2>&1), so that a line
/// written to both would be seen twice.
bool failures_show_beside_output();

namespace style {
inline constexpr std::string_view bold = "\x1b[1m";
inline constexpr std::string_view faint = "\x1b[2m";
inline constexpr std::string_view italic = "\x1b[3m";
inline constexpr std::string_view red = "\x1b[31m";
inline constexpr std::string_view green = "\x1b[32m";
inline constexpr std::string_view yellow = "\x1b[33m";
inline constexpr std::string_view plain = "\x1b[0m";
}  // namespace style

}  // namespace kavu_probe
