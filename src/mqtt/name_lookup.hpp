#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace brunvik::monitoring_modules::mqtt {

/// The addresses of a host, as text without brackets, those of IPv4 first as the MQTT library
/// prefers them; at least one.
///
/// The library would look names up while it holds the lock that serves all clients of the process,
/// so a name server that does not answer would stop every one of them. Name servers are asked
/// first, then whatever else the system knows names from (nsswitch.conf).
///
/// Waits on the calling thread, at most until the deadline, and no longer than until `given_up`
/// says so, which is asked every few milliseconds. Throws `exceptions::client_failure` when there
/// is no address, or no answer in time. [any-thread]
std::vector<std::string> look_up_name(const std::string& host,
                                      std::chrono::steady_clock::time_point deadline,
                                      const std::function<bool()>& given_up);

}  // namespace brunvik::monitoring_modules::mqtt
