#pragma once

#include <cstdint>

namespace kavu_test {

/// A port of 127.0.0.1 that nobody listens on right now. Somebody else may take it before the
/// caller does: try again with another one then.
///
/// It lies outside the range from which the kernel takes the ports of outgoing connections.
/// Otherwise a client that keeps trying to reach a stopped broker could be given the broker's own
/// port, and on loopback it would then connect to itself.
std::uint16_t free_loopback_port();

/// A non-blocking socket that listens on a port of 127.0.0.1; -1 when the port is taken.
int listen_on_loopback(std::uint16_t port);

/// Whether somebody listens there. The connection that finds out is closed at once.
bool accepts_connections(std::uint16_t port);

}  // namespace kavu_test
