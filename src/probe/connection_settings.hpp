#pragma once

#include <chrono>
#include <string>

#include "probe/credential_files.hpp"
#include "probe/options.hpp"
#include "probe/settings_builder.hpp"

namespace kavu_probe {

/// A host as modules expect it: an IPv6 address in brackets.
struct host_address {
  std::string text;
  /// The address's; `automatic` for a name.
  ip_version version;
};

host_address make_host_address(const std::string& host);

/// Puts the connection options into the settings of the credentials sections. Throws usage_error
/// when a value does not fit, or the module has no setting for an option that was given.
void set_connection(settings_builder& builder, const connection_options& options,
                    const connection_credentials& credentials);

/// Adds what every sensor and check has beside the document's settings. The interval is rounded up
/// to whole seconds. A name whose version of IP is still open is sent with IPv4.
void add_common_settings(settings_builder& builder, const connection_options& options, bool logging,
                         std::chrono::nanoseconds interval);

}  // namespace kavu_probe
