#pragma once

#include <string>

#include "liblog/log_interface.hpp"
#include "liblog/severity.hpp"
#include "mqtt/received_message.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Tells a sensor's log, which may be null, of a message. [client-thread]
inline void log_received(liblog::log_interface* log, const received_message& message) {
  if (log == nullptr) {
    return;
  }
  liblog::log_lazily(*log, liblog::severity::debug, [&] {
    return "Received on topic \"" + message.topic +
           "\" with payload bytes: " + std::to_string(message.payload.size());
  });
}

}  // namespace brunvik::monitoring_modules::mqtt
