#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// Finds out whether a host name resolves, before the MQTT library is asked to connect: the
/// library resolves names while it holds the lock that serves all clients of the process, so a name
/// server that does not answer would stop every one of them.
///
/// Waits at most `limit`, and no longer than until `given_up` says so, which is asked every few
/// milliseconds. Addresses are taken as they are. Throws `exceptions::client_failure` with the
/// resolver's words when the name does not resolve, and `exceptions::tcp_connection_timeout` when
/// there is no answer in time. The look-up itself runs on a thread of the C library's, not of ours:
/// it cannot be ended, so one that was given up is left to end by itself.
void require_resolvable(const std::string& host, std::chrono::milliseconds limit,
                        const std::function<bool()>& given_up);

}  // namespace brunvik::monitoring_modules::mqtt
