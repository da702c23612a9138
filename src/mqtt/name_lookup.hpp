#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// Asks the name servers for a host before the MQTT library is asked to connect: the library
/// resolves names while it holds the lock that serves all clients of the process, so a name server
/// that does not answer would stop every one of them. One that has just answered will not.
///
/// Works on the calling thread, at most for `limit`, and no longer than until `given_up` says so,
/// which is asked every few milliseconds. Throws `exceptions::client_failure` when there is no
/// answer in time. Returns nothing when the host has an address or is one; when the servers know no
/// address, the words for it: the system may have other sources for names, so connecting may
/// succeed all the same, and if it does not, these are the reason. [any-thread]
std::optional<std::string> look_up_name(const std::string& host, std::chrono::milliseconds limit,
                                        const std::function<bool()>& given_up);

}  // namespace brunvik::monitoring_modules::mqtt
