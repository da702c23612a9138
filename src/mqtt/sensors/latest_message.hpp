#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "libtimeutils/time_text.hpp"
#include "mqtt/received_message.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// The message that a scan has not seen yet, and when the latest one came. [any-thread]
class latest_message {
 public:
  using time_point = libtimeutils::time_point;

  /// Starts with the time from an earlier life, if one is known.
  void set_time(std::optional<time_point> time) {
    const std::lock_guard lock(mutex_);
    time_ = time;
  }

  /// Replaces a message that nobody has seen. One that the broker only repeats, because it was
  /// retained, says nothing about when it was published: it never makes a known time younger.
  /// [client-thread]
  void put(std::shared_ptr<received_message> message) {
    const auto now =
        std::chrono::time_point_cast<time_point::duration>(std::chrono::system_clock::now());
    const std::lock_guard lock(mutex_);
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

 private:
  mutable std::mutex mutex_;  // guards all below
  std::shared_ptr<received_message> pending_;
  std::optional<time_point> time_;
};

}  // namespace brunvik::monitoring_modules::mqtt
