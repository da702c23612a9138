#include "liblog/multiplex_logger.hpp"

#include <cxxabi.h>

#include <algorithm>
#include <exception>
#include <vector>

#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::liblog {

namespace {

// A thread that is being cancelled unwinds with an exception that must not be kept.
void deliver(log_interface& target, int severity, const std::string& message) {
  try {
    target.log(severity, message);
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
  }
}

}  // namespace

void multiplex_logger::log(int severity, const std::string& message) {
  // Destroyed after the lock is released: this may turn out to be the last owner of a target, and
  // that one's destructor may do as it likes.
  std::vector<std::shared_ptr<log_interface>> live;
  const std::lock_guard lock(mutex_);
  bool some_are_gone = false;
  for (auto position = targets_.begin(); position != targets_.end();) {
    if (auto target = position->first.lock()) {
      const bool wanted = severity <= position->second.threshold;
      live.push_back(std::move(target));
      if (wanted) {
        deliver(*live.back(), severity, message);
      }
      ++position;
    } else {
      position = targets_.erase(position);
      some_are_gone = true;
    }
  }
  if (some_are_gone) {
    update_reach();
  }
}

bool multiplex_logger::enabled(int severity) const noexcept {
  return severity <= reach_.load(std::memory_order_relaxed);
}

void multiplex_logger::add(const std::shared_ptr<log_interface>& target, int threshold) {
  if (!target) {
    return;
  }
  std::int64_t reach = threshold;
  const int most_severe = std::min(threshold, severity::emergency);
  const int least_severe = std::min(threshold, severity::debug);
  bool on = false;
  for (int level = most_severe; level <= least_severe && !on; ++level) {
    on = target->enabled(level);
  }
  const std::lock_guard lock(mutex_);
  targets_[target] = {threshold, on ? reach : nothing};
  update_reach();
}

void multiplex_logger::remove(const std::shared_ptr<log_interface>& target) {
  const std::lock_guard lock(mutex_);
  if (targets_.erase(target) != 0) {
    update_reach();
  }
}

void multiplex_logger::update_reach() noexcept {
  auto reach = nothing;
  for (const auto& [target, attached] : targets_) {
    reach = std::max(reach, attached.reach);
  }
  reach_.store(reach, std::memory_order_relaxed);
}

}  // namespace brunvik::monitoring_modules::liblog
