#pragma once

#include <optional>
#include <string>

#include "probe/options.hpp"

namespace kavu_probe {

/// What reading the command line gave: options to act on, or a text that was asked for (help,
/// version) and is all there is to do.
struct command_line_result {
  std::optional<program_options> options;
  std::string text;
};

/// Reads the command line. Throws usage_error, in one line, for whatever cannot be meant.
command_line_result read_command_line(int argument_count, const char* const* arguments);

}  // namespace kavu_probe
