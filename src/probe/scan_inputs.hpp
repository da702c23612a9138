#pragma once

#include "probe/options.hpp"

namespace kavu_probe {

/// Holds topics and JSONPaths against their own rules, for the sensors that have a command of their
/// own: a module would tell a wrong one only after it has connected, or with the first message.
/// Throws usage_error. Other sensors' settings mean what their module says.
void check_scan_inputs(const scan_options& options);

/// The topic of a notification. Throws usage_error.
void check_publish_topic(const std::string& topic);

}  // namespace kavu_probe
