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

  /// Replaces a message that nobody has seen. A repeated one is ignored once this sensor has had a
  /// live one on the same connection: whatever was published since then came live. It never makes a
  /// known time younger, nor replaces one that is known to be the latest. [client-thread]
  void put(std::shared_ptr<received_message> message) {
    const auto now =
        std::chrono::time_point_cast<time_point::duration>(std::chrono::system_clock::now());
    const std::lock_guard lock(mutex_);
    note(message->connection);
    if (!message->retained) {
      last_live_ = {message->number, message->connection};
    } else if (is_older(*message)) {
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
    note(connection);
  }

  /// Whether the broker has repeated a message and it is not known to be the latest.
  [[nodiscard]] bool is_repeated(const received_message& message) const {
    const std::lock_guard lock(mutex_);
    return message.retained && !equals_last_live(message);
  }

  /// Whether something newer than such a message may have been published that this sensor has not
  /// seen: the connection is not the sensor's first, or the client has had a live message on the
  /// topic before this sensor was there.
  [[nodiscard]] bool may_be_outdated(const received_message& message) const {
    const std::lock_guard lock(mutex_);
    return message.retained && !equals_last_live(message) &&
           (message.last_live || !message.is_history_complete ||
            message.connection != first_connection_);
  }

 private:
  struct live_message {
    std::uint64_t number;
    std::uint64_t connection;
  };

  // All under mutex_.
  void note(std::uint64_t connection) {
    first_connection_ = std::min(first_connection_.value_or(connection), connection);
  }
  /// The last live message on its topic had the same payload, and this sensor has had none on
  /// another topic since.
  [[nodiscard]] bool equals_last_live(const received_message& message) const {
    return message.last_live && message.last_live->same_payload &&
           (!last_live_ || message.last_live->number >= last_live_->number);
  }
  [[nodiscard]] bool is_older(const received_message& repeated) const {
    const bool seen_live = last_live_ && last_live_->connection == repeated.connection;
    const bool better_pending = pending_ != nullptr && pending_->retained &&
                                pending_->connection == repeated.connection &&
                                equals_last_live(*pending_) && !equals_last_live(repeated);
    return seen_live || better_pending;
  }

  mutable std::mutex mutex_;  // guards all below
  std::shared_ptr<received_message> pending_;
  std::optional<time_point> time_;
  std::optional<live_message> last_live_;          // of this sensor
  std::optional<std::uint64_t> first_connection_;  // on which messages flowed
};

}  // namespace brunvik::monitoring_modules::mqtt
