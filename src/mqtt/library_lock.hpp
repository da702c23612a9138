#pragma once

#include <mutex>
#include <utility>

namespace brunvik::monitoring_modules::mqtt {

inline std::mutex library_mutex;  // for the function below

/// Does something with the MQTT library that no two threads may do at once: asks it for something
/// (to connect, disconnect, subscribe, unsubscribe, publish), or destroys one of its clients.
///
/// The library keeps the requests of all clients in one list. It puts a request in under one lock,
/// and takes those of a client that is destroyed out under another (as of 1.3.12): at the same
/// time, that damages the list, and then the process crashes, or one thread runs in circles with
/// the library's lock held and all others wait for it. [any-thread], but not from within the
/// library's callbacks.
template <class Request>
auto with_library_lock(Request&& request) {
  const std::lock_guard lock(library_mutex);
  return std::forward<Request>(request)();
}

}  // namespace brunvik::monitoring_modules::mqtt
