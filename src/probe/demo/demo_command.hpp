#pragma once

#include <stop_token>

#include "probe/probe_context.hpp"

namespace kavu_probe {

/// Shows the module at work: starts a private broker with a simulated plant, checks the
/// connection, sends a notification, and scans every kind of sensor `options.scans` times.
///
/// Returns the exit code: well only if everything went well, the notification was seen to arrive
/// included. Throws probe_error when broker or plant cannot be started. Everything that it
/// started has ended when it returns or throws. Must run on the program's first thread.
int run_demo_command(const probe_context& context, const demo_options& options,
                     const std::stop_token& stop);

}  // namespace kavu_probe
