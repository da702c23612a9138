#pragma once

#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// One message as it arrived from the broker.
///
/// It is made once and handed by shared pointer to every subscription that matches; nobody changes
/// it after that, so it may be read on any thread.
struct received_message {
  /// The topic that the broker delivered on, never a filter. Any bytes up to 65,535 of them.
  std::string topic;
  /// The payload's bytes, zero bytes included.
  std::string payload;
  /// Whether the broker replayed it because it was retained (MQTT 3.1.1, section 3.3.1.3): it was
  /// published before the subscription was made, at a time that nobody knows.
  bool retained = false;
};

}  // namespace brunvik::monitoring_modules::mqtt
