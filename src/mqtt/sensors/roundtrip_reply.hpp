#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// Where the message of a round trip comes back to. The first one counts; what comes later, also
/// after the scan has given up, changes nothing. [any-thread]
class roundtrip_reply {
 public:
  using clock = std::chrono::steady_clock;

  struct arrival {
    std::string payload;
    /// Taken when the message arrived, not when somebody looked.
    clock::time_point time;
  };

  void arrived(const std::string& payload) {
    const auto now = clock::now();
    {
      const std::lock_guard lock(mutex_);
      if (arrival_) {
        return;
      }
      arrival_ = arrival{payload, now};
    }
    changed_.notify_all();
  }

  /// Empty when nothing has come by `deadline`.
  std::optional<arrival> wait_until(clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, deadline, [&] { return arrival_.has_value(); });
    return arrival_;
  }

 private:
  std::mutex mutex_;  // guards all below
  std::condition_variable changed_;
  std::optional<arrival> arrival_;
};

}  // namespace brunvik::monitoring_modules::mqtt
