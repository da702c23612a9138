#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>

#include "mqtt/received_message.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// What has arrived since somebody last looked.
///
/// Memory is bounded: topics are told apart up to `most_topics` of them or `most_topic_bytes` of
/// their names, since a publisher may invent a new one for every message. Beyond that their number
/// is unknown, and said to be.
class statistics_counters {
 public:
  static constexpr std::size_t most_topics = 100'000;
  static constexpr std::size_t most_topic_bytes = 16U * 1024 * 1024;

  struct window {
    std::uint64_t messages = 0;
    std::uint64_t payload_bytes = 0;
    /// Empty when there were more than can be told apart.
    std::optional<std::size_t> active_topics;
  };

  /// [client-thread]
  void count(const received_message& message);

  /// Gives what has been counted and begins anew. The three are taken one after the other: a
  /// message that arrives meanwhile may be counted now and its topic next time. [any-thread]
  window take();

 private:
  std::atomic<std::uint64_t> messages_{0};
  std::atomic<std::uint64_t> payload_bytes_{0};

  std::mutex mutex_;  // guards all below
  std::unordered_set<std::string> topics_;
  std::size_t topic_bytes_ = 0;
  bool too_many_topics_ = false;
};

}  // namespace brunvik::monitoring_modules::mqtt
