#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

#include "mqtt/pending_operation.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Whether the broker has stopped answering, so that nobody need wait for it any more.
///
/// It has when somebody waited for an answer in vain, until any answer comes: a late one to what is
/// watched here, or one that the owner tells of. [any-thread]
class answer_watch {
 public:
  /// Nobody waits for this request's answer, or somebody has in vain.
  void watch(std::shared_ptr<pending_operation> unanswered) {
    const std::lock_guard lock(mutex_);
    if (unanswered_.size() < most_watched) {
      unanswered_.push_back(std::move(unanswered));
    }
  }

  /// The broker has answered something, or there is another connection.
  void clear() {
    const std::lock_guard lock(mutex_);
    unanswered_.clear();
  }

  [[nodiscard]] bool is_silent() {
    const std::lock_guard lock(mutex_);
    if (std::any_of(unanswered_.begin(), unanswered_.end(),
                    [](const auto& each) { return each->is_answered(); })) {
      unanswered_.clear();
    }
    return !unanswered_.empty();
  }

 private:
  static constexpr std::size_t most_watched = 16;

  std::mutex mutex_;
  std::vector<std::shared_ptr<pending_operation>> unanswered_;  // guarded by mutex_
};

}  // namespace brunvik::monitoring_modules::mqtt
