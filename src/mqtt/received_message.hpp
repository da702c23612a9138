#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// One message as it arrived from the broker.
///
/// It is made once and handed by shared pointer to every subscription that matches; nobody changes
/// it after that, so it may be read on any thread.
struct received_message {
  /// A message that was not a repeated retained one.
  struct live_message {
    std::uint64_t number;
    std::uint64_t connection;
    bool same_payload;
  };

  /// The topic that the broker delivered on, never a filter. Any bytes up to 65,535 of them.
  std::string topic;
  /// The payload's bytes, zero bytes included.
  std::string payload;
  /// Whether the broker replayed it because it was retained (MQTT 3.1.1, section 3.3.1.3): it was
  /// published before the subscription was made, at a time that nobody knows.
  bool retained = false;

  /// Counts the client's messages, from 1 on.
  std::uint64_t number = 0;
  /// The client's connection on which it came; see `mqtt_client_interface::require_subscribed`.
  std::uint64_t connection = 0;
  /// Of a retained message: the last live one that the client has had on the topic, and whether
  /// that had the same payload. `is_history_complete` is false when there may have been one that
  /// the client does not remember.
  std::optional<live_message> last_live = std::nullopt;
  bool is_history_complete = true;
};

}  // namespace brunvik::monitoring_modules::mqtt
