#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "kavuhelper/module/service_container.hpp"
#include "liblog/log_interface.hpp"
#include "mqtt/mqtt_client_interface.hpp"
#include "mqtt/mqtt_client_settings.hpp"
#include "mqtt/sensors/left_out_topics.hpp"
#include "mqtt/topic_subscription.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// A sensor's share of a client and its subscription there, for as long as the sensor lives.
class sensor_subscription {
 public:
  /// Gets the client from the container's store, attaches the sensor's log to it and subscribes.
  /// `logger` is empty for a sensor that does not log; `id` is the sensor's. What `callback` may
  /// refer to is said in topic_subscription.hpp. Throws what getting the client and subscribing
  /// throw, and leaves nothing behind then. [host-thread]
  sensor_subscription(libkavuhelper::module::service_container& container, std::int32_t id,
                      const mqtt_client_settings& settings,
                      std::shared_ptr<liblog::log_interface> logger, const std::string& filter,
                      topic_subscription::message_callback callback);

  /// Unsubscribes and lets the client go. Waits at most a second for the broker, or two when this
  /// was the client's last share. [host-thread]
  ~sensor_subscription();

  sensor_subscription(const sensor_subscription&) = delete;
  sensor_subscription& operator=(const sensor_subscription&) = delete;

  /// Throws unless messages are flowing. Otherwise tells whether they have been ever since the last
  /// call that has not thrown, or since the subscription: what has been received is complete only
  /// then. Does not wait. [host-thread], one at a time
  bool require_flowing();

  /// The client's connection on which messages were flowing at the last call of `require_flowing`;
  /// empty when they were not.
  [[nodiscard]] std::optional<std::uint64_t> connection() const noexcept { return connection_; }

  /// What to tell of messages that the filter has left out since the last call; empty when there
  /// were none. [host-thread], one at a time
  std::string take_left_out_warning() { return left_out_.take_warning(); }

 private:
  std::shared_ptr<mqtt_client_interface> client_;
  std::shared_ptr<liblog::log_interface> logger_;
  left_out_report left_out_;
  std::shared_ptr<topic_subscription> subscription_;
  std::optional<std::uint64_t> connection_;  // on which they flowed at the last call
};

}  // namespace brunvik::monitoring_modules::mqtt
