#pragma once

#include <chrono>
#include <cstdint>

namespace brunvik::monitoring_modules::libtimeutils {

/// Measures elapsed time in whole milliseconds, cut off towards zero. It runs from its construction
/// on. A value, for one thread at a time.
template <class Clock>
class basic_stopwatch {
 public:
  using time_point = typename Clock::time_point;

  basic_stopwatch() { restart(); }

  /// Starts again from zero and returns the time of the start.
  time_point restart() {
    running_ = true;
    start_time_ = stop_time_ = Clock::now();
    return start_time_;
  }

  /// Holds the watch, until it is restarted, and returns the elapsed milliseconds.
  std::int64_t stop() {
    running_ = false;
    stop_time_ = Clock::now();
    return elapsed_ms();
  }

  [[nodiscard]] std::int64_t elapsed_ms() const {
    const auto end = running_ ? Clock::now() : stop_time_;
    return std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::milli>>(end -
                                                                                       start_time_)
        .count();
  }

 private:
  time_point start_time_;
  time_point stop_time_;
  bool running_ = true;
};

/// On the wall clock. When that is set back while the watch runs, the result is negative.
using stopwatch = basic_stopwatch<std::chrono::system_clock>;

}  // namespace brunvik::monitoring_modules::libtimeutils
