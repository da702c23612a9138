#pragma once

namespace kavu_probe {

/// The whole program: reads the command line, loads the module, runs the command, cleans up.
/// Returns the exit code. Ends the process itself, with its output written, when a signal came
/// during a call of the module that does not come back.
int run_program(int argument_count, const char* const* arguments);

}  // namespace kavu_probe
