#pragma once

#include "probe/probe_context.hpp"

// The program's commands. Each shows its results and returns the exit code; each throws
// usage_error for options that do not fit the module, and lets stopped and call_abandoned pass.
namespace kavu_probe {

int run_check_command(const probe_context& context);
int run_scan_command(const probe_context& context, const scan_options& options);
int run_notify_command(const probe_context& context, const notify_options& options);

/// `document` is the definition document as the module gave it.
int run_info_command(const probe_context& context, const std::string& document);

/// Runs one check under the program's connection options.
check_report run_check(const probe_context& context, const std::string& name);

/// Sends one notification under the program's connection options.
notification_report send_notification(const probe_context& context, const notify_options& options);

}  // namespace kavu_probe
