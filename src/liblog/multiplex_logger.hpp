#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "liblog/log_interface.hpp"

namespace brunvik::monitoring_modules::liblog {

/// Hands each line to several loggers, each with a threshold of its own: a target sees the lines
/// whose severity is at most its threshold.
///
/// Targets are held weakly: one that is gone is dropped at the next line. They are called under
/// this logger's mutex, one line after the other, so a target must not use the multiplexer that
/// calls it. What a target throws ends with that target: the other targets still get the line and
/// the caller never notices, for the log must not break what it tells about. [any-thread]
class multiplex_logger : public log_interface {
 public:
  void log(int severity, const std::string& message) override;

  /// False when no target's threshold reaches `severity`. Takes no lock. A target that has gone
  /// counts until the next line has been logged.
  [[nodiscard]] bool enabled(int severity) const noexcept override;

  /// Adds a target, or sets the threshold of one that is there already. Null is ignored.
  ///
  /// A target that is off as a whole when it is added (`enabled` is false for every severity up to
  /// its threshold, as with a sensor whose logging is switched off) does not count in `enabled`.
  void add(const std::shared_ptr<log_interface>& target, int threshold);

  /// Once this has returned the target is not called any more. One that is not there is ignored.
  void remove(const std::shared_ptr<log_interface>& target);

 private:
  struct attachment {
    int threshold;
    std::int64_t reach;  // the least severe line that the target takes; `nothing` when it is off
  };
  static constexpr std::int64_t nothing = INT64_MIN;

  /// Call with mutex_ held.
  void update_reach() noexcept;

  std::atomic<std::int64_t> reach_{nothing};  // the highest of all targets
  std::mutex mutex_;
  std::map<std::weak_ptr<log_interface>, attachment, std::owner_less<>> targets_;  // by mutex_
};

}  // namespace brunvik::monitoring_modules::liblog
