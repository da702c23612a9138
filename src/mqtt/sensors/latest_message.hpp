#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "libtimeutils/time_text.hpp"
#include "mqtt/received_message.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// The message that a scan has not seen yet, and when the latest one came. [any-thread]
///
/// The broker repeats retained messages when a sensor subscribes, also for the sensors of the same
/// client that are there already, and when the connection has come back. Such a message may be
/// older than what has been seen since.
class latest_message {
 public:
  using time_point = libtimeutils::time_point;

  /// Starts with the time from an earlier life, if one is known.
  void set_time(std::optional<time_point> time) {
    const std::lock_guard lock(mutex_);
    time_ = time;
  }

  /// Replaces a message that nobody has seen. A repeated one does not replace a live one of the
  /// same connection, is ignored on a topic on which this sensor has had a live one on this
  /// connection, and never makes a known time younger. [client-thread]
  void put(std::shared_ptr<received_message> message) {
    const auto now =
        std::chrono::time_point_cast<time_point::duration>(std::chrono::system_clock::now());
    const std::lock_guard lock(mutex_);
    first_connection_ =
        std::min(first_connection_.value_or(message->connection), message->connection);
    first_number_ = first_number_.value_or(message->number);
    if (message->retained && (is_outdated(*message) || has_live_of(message->connection))) {
      return;
    }
    if (!message->retained || !time_) {
      time_ = now;
    }
    pending_ = std::move(message);
  }

  /// The message that nobody has seen, which is then seen; or null.
  std::shared_ptr<received_message> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(pending_, nullptr);
  }

  std::optional<time_point> time() const {
    const std::lock_guard lock(mutex_);
    return time_;
  }

  /// The sensor's messages flow on this connection of the client.
  void note_connection(std::uint64_t connection) {
    const std::lock_guard lock(mutex_);
    first_connection_ = std::min(first_connection_.value_or(connection), connection);
  }

  /// Whether the broker has repeated a message, and it is not known to be the latest: the last live
  /// one on its topic did not have the same payload.
  [[nodiscard]] static bool is_repeated(const received_message& message) {
    return message.retained && !(message.last_live && message.last_live->same_payload);
  }

  /// Whether something newer than such a message may have been published that this sensor has not
  /// seen: the connection is not the sensor's first, or the client has had a live message on the
  /// topic before this sensor was there.
  [[nodiscard]] bool may_be_outdated(const received_message& message) const {
    const std::lock_guard lock(mutex_);
    return is_repeated(message) && (message.last_live || !message.is_history_complete ||
                                    message.connection != first_connection_);
  }

 private:
  // Under mutex_, both.
  [[nodiscard]] bool is_outdated(const received_message& message) const {
    return message.last_live && message.last_live->connection == message.connection &&
           message.last_live->number >= *first_number_;
  }
  [[nodiscard]] bool has_live_of(std::uint64_t connection) const {
    return pending_ != nullptr && !pending_->retained && pending_->connection == connection;
  }

  mutable std::mutex mutex_;  // guards all below
  std::shared_ptr<received_message> pending_;
  std::optional<time_point> time_;
  std::optional<std::uint64_t> first_number_;      // of the messages that came here
  std::optional<std::uint64_t> first_connection_;  // on which messages flowed
};

}  // namespace brunvik::monitoring_modules::mqtt
