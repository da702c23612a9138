#pragma once

#include <functional>

namespace brunvik::monitoring_modules::mqtt {

/// Makes a request to the MQTT library with the library's lock held, and returns its code.
///
/// The library keeps what it has been asked for, by all clients, in one list. What a client has
/// left there it takes out when that client's connection ends, under the lock that serves all
/// clients; but whoever adds a request holds only another lock. When both happen at once, the list
/// is damaged: the process crashes, or one thread runs in circles with the lock held and all others
/// wait for it. So what adds to the list (to connect, subscribe, unsubscribe, publish, disconnect)
/// goes through here. Measured with 1.3.12; [any-thread], but not from within the library's
/// callbacks. `request` must not throw.
int with_library_locked(const std::function<int()>& request) noexcept;

}  // namespace brunvik::monitoring_modules::mqtt
