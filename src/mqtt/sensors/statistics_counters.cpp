#include "mqtt/sensors/statistics_counters.hpp"

#include <utility>

namespace brunvik::monitoring_modules::mqtt {

void statistics_counters::count(const received_message& message) {
  messages_ += 1;
  payload_bytes_ += message.payload.size();
  const std::lock_guard lock(mutex_);
  if (topics_.contains(message.topic)) {
    return;
  }
  if (topics_.size() >= most_topics || topic_bytes_ + message.topic.size() > most_topic_bytes) {
    too_many_topics_ = true;
    return;
  }
  topic_bytes_ += message.topic.size();
  topics_.insert(message.topic);
}

statistics_counters::window statistics_counters::take() {
  window taken;
  taken.messages = messages_.exchange(0);
  taken.payload_bytes = payload_bytes_.exchange(0);
  std::unordered_set<std::string> topics;  // goes when the lock has been released
  const std::lock_guard lock(mutex_);
  if (!std::exchange(too_many_topics_, false)) {
    taken.active_topics = topics_.size();
  }
  topics.swap(topics_);
  topic_bytes_ = 0;
  return taken;
}

}  // namespace brunvik::monitoring_modules::mqtt
