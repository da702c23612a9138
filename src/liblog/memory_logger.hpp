#pragma once

#include <deque>
#include <mutex>
#include <string>

#include "liblog/log_interface.hpp"

namespace brunvik::monitoring_modules::liblog {

/// Keeps every line in memory, without a bound, until it is cleared or destroyed. [any-thread]
class memory_logger : public log_interface {
 public:
  struct entry {
    int severity;
    std::string message;
    friend bool operator==(const entry&, const entry&) = default;
  };

  void log(int severity, const std::string& message) override;

  /// What has been logged so far, oldest first.
  [[nodiscard]] std::deque<entry> entries() const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::deque<entry> entries_;  // guarded by mutex_
};

}  // namespace brunvik::monitoring_modules::liblog
