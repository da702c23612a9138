#pragma once

#include "probe/options.hpp"

// What is said of the connection on the command line, checked before anything is looked up or
// connected.
namespace kavu_probe {

/// Throws usage_error when an option lacks the one that it needs, the host is neither a name nor
/// an address (or of another version of IP than the one that was asked for), or the user name is
/// no string of MQTT.
void check_connection_inputs(const connection_options& options);

/// Which options were typed that give the same as a setting without a section.
struct typed_options {
  bool host = false;
  bool ip = false;
  bool timeout = false;
  bool interval = false;
};

/// Takes a value that was given with --set for a setting without a section over into the
/// connection's options; any other setting is left alone. Throws usage_error when the value does
/// not fit, or the option for it was typed as well.
void take_common_setting(named_value& item, const typed_options& typed,
                         connection_options& connection);

}  // namespace kavu_probe
