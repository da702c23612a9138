#include "liblog/multiplex_logger.hpp"

#include <cxxabi.h>

#include <algorithm>
#include <exception>
#include <vector>

#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::liblog {

namespace {

// Calls `act` and keeps what it throws from the caller, but for the exception with which a thread
// unwinds that is being cancelled: that one must go on.
template <class Act>
void keep_failures(Act&& act) {
  try {
    act();
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
  keep_failures([&] {
    const std::lock_guard lock(mutex_);
    const auto dropped = std::erase_if(targets_, [&](const auto& entry) {
      auto target = entry.first.lock();
      if (!target) {
        return true;
      }
      live.push_back(std::move(target));
      if (severity <= entry.second.threshold) {
        keep_failures([&] { live.back()->log(severity, message); });
      }
      return false;
    });
    if (dropped != 0) {
      update_reach();
    }
  });
}

bool multiplex_logger::enabled(int severity) const noexcept {
  return severity <= reach_.load(std::memory_order_relaxed);
}

void multiplex_logger::add(const std::shared_ptr<log_interface>& target, int threshold) {
  if (!target) {
    return;
  }
  const int most_severe = std::min(threshold, severity::emergency);
  const int least_severe = std::min(threshold, severity::debug);
  bool on = false;
  for (int level = most_severe; level <= least_severe && !on; ++level) {
    on = target->enabled(level);
  }
  const std::lock_guard lock(mutex_);
  targets_[target] = {threshold, on ? std::int64_t{threshold} : nothing};
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
