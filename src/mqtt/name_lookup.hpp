#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "mqtt/address_family.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// The addresses of a host in the family that is wanted, as text without brackets, those of IPv4
/// first as the MQTT library prefers them; at least one.
///
/// The library would look names up while it holds the lock that serves all clients of the process,
/// so a name server that does not answer would stop every one of them. The name servers and what
/// else the system knows names from (nsswitch.conf) are asked side by side. Of each family the
/// addresses count of whoever is first; when both are wanted, the second has half a second from the
/// first on. Names in ".local" are not for name servers (RFC 6762, section 3).
///
/// Waits on the calling thread, at most until the deadline, and no longer than until `given_up`
/// says so, which is asked every few milliseconds. Throws `exceptions::client_failure` when there
/// is no address, or no answer in time. [any-thread]
std::vector<std::string> look_up_name(const std::string& host, address_family family,
                                      std::chrono::steady_clock::time_point deadline,
                                      const std::function<bool()>& given_up);

/// The same for somebody who looks the name up once more and prefers IPv4, as the MQTT library does
/// with TLS: the one address that it will take, or an empty text where it has a choice. Fails as
/// well when the address is not of the family.
std::vector<std::string> foresee_address(const std::string& host, address_family family,
                                         std::chrono::steady_clock::time_point deadline,
                                         const std::function<bool()>& given_up);

}  // namespace brunvik::monitoring_modules::mqtt
