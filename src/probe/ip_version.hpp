#pragma once

#include <netdb.h>

#include <chrono>
#include <stop_token>
#include <string>

#include "probe/options.hpp"

namespace kavu_probe {

/// The version that an address without brackets belongs to; `automatic` for anything else, which is
/// a name then.
ip_version literal_version(const std::string& host);

/// Which version to use for a name with these addresses: IPv4 where there is one, since brokers
/// that listen to both are found that way and many listen to IPv4 only, `automatic` for none.
ip_version choose_version(const addrinfo* addresses);

/// Replaces `automatic` for a name by what the system's sources of names know of it, among the
/// versions that this machine is connected with. What they do not know within half of the
/// connection's time-out, a second at most, is left to the module, which can say why: IPv4.
/// Addresses stay `automatic`. Throws stopped.
ip_version resolve_version(const connection_options& options, const std::stop_token& stop);

}  // namespace kavu_probe
