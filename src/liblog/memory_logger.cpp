#include "liblog/memory_logger.hpp"

namespace brunvik::monitoring_modules::liblog {

void memory_logger::log(int severity, const std::string& message) {
  const std::lock_guard lock(mutex_);
  entries_.push_back({severity, message});
}

std::deque<memory_logger::entry> memory_logger::entries() const {
  const std::lock_guard lock(mutex_);
  return entries_;
}

void memory_logger::clear() {
  const std::lock_guard lock(mutex_);
  entries_.clear();
}

}  // namespace brunvik::monitoring_modules::liblog
