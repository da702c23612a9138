#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// Where the message of a round trip comes back to. What comes before `begin` is somebody else's:
/// a retained message, or a publisher that uses the same topic. Then the first one counts; what
/// comes later, also after the scan has given up, changes nothing. [any-thread]
class roundtrip_reply {
 public:
  using clock = std::chrono::steady_clock;

  struct arrival {
    std::string payload;
    /// Taken when the message arrived, not when somebody looked; never before `begin`.
    clock::time_point time;
  };

  /// The message is going to be published now: begins to collect, and gives the time.
  clock::time_point begin() {
    const std::lock_guard lock(mutex_);
    collecting_ = true;
    return clock::now();
  }

  void arrived(const std::string& payload) {
    {
      const std::lock_guard lock(mutex_);
      if (!collecting_ || arrival_) {
        return;
      }
      arrival_ = arrival{payload, clock::now()};
    }
    changed_.notify_all();
  }

  /// Empty when nothing has arrived by `deadline`, whenever that is asked for.
  std::optional<arrival> wait_until(clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, deadline, [&] { return arrival_.has_value(); });
    return arrival_ && arrival_->time <= deadline ? arrival_ : std::nullopt;
  }

 private:
  std::mutex mutex_;  // guards all below
  std::condition_variable changed_;
  bool collecting_ = false;
  std::optional<arrival> arrival_;
};

}  // namespace brunvik::monitoring_modules::mqtt
