#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace brunvik::monitoring_modules::mqtt {

/// Who may change the broker's subscriptions: one thread at a time, so that subscribing,
/// unsubscribing and renewing one filter cannot overtake each other. Unlike a mutex it may be held
/// while waiting for the broker, since nobody has to wait for it beyond a deadline. [any-thread],
/// but never [client-thread].
class broker_turn {
 public:
  using clock = std::chrono::steady_clock;

  /// Holds the turn until it goes, if it got it by `deadline`.
  class holder {
   public:
    holder(broker_turn& turn, clock::time_point deadline)
        : turn_(turn), held_(turn.acquire(deadline)) {}
    ~holder() {
      if (held_) {
        turn_.release();
      }
    }
    holder(const holder&) = delete;
    holder& operator=(const holder&) = delete;
    [[nodiscard]] bool is_held() const noexcept { return held_; }

   private:
    broker_turn& turn_;
    bool held_;
  };

 private:
  bool acquire(clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    if (!free_.wait_until(lock, deadline, [&] { return !taken_; })) {
      return false;
    }
    taken_ = true;
    return true;
  }
  void release() {
    {
      const std::lock_guard lock(mutex_);
      taken_ = false;
    }
    free_.notify_one();
  }

  std::mutex mutex_;  // guards all below
  std::condition_variable free_;
  bool taken_ = false;
};

}  // namespace brunvik::monitoring_modules::mqtt
