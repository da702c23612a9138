#pragma once

#include <chrono>

namespace kavu_probe {

/// The points in time at which something is due: one interval after the start and then every
/// interval, whatever the work in between takes. Points that have passed are left out, so that a
/// slow scan is not followed by a burst.
class steady_schedule {
 public:
  using clock = std::chrono::steady_clock;

  /// Precondition: `interval` is above zero.
  steady_schedule(clock::time_point start, std::chrono::nanoseconds interval)
      : due_(start), interval_(interval) {}

  /// The first point that is later than the last one given and not before `now`.
  clock::time_point next(clock::time_point now) {
    due_ += interval_;
    if (due_ < now) {
      due_ += (now - due_ + interval_ - std::chrono::nanoseconds(1)) / interval_ * interval_;
    }
    return due_;
  }

 private:
  clock::time_point due_;
  std::chrono::nanoseconds interval_;
};

}  // namespace kavu_probe
