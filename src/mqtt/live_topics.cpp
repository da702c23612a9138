#include "mqtt/live_topics.hpp"

#include <functional>

namespace brunvik::monitoring_modules::mqtt {

namespace {

/// Of what is longer nobody can read a value.
constexpr std::size_t longest_hashed = 16U * 1024 * 1024;

}  // namespace

live_topics::fingerprint::fingerprint(const received_message& message)
    : topic(std::hash<std::string_view>{}(message.topic)) {
  if (message.payload.size() <= longest_hashed) {
    payload = std::hash<std::string_view>{}(message.payload);
  }
}

void live_topics::admit(received_message& message, const fingerprint& of_message) {
  const auto known = topics_.find(of_message.topic);
  if (message.retained) {
    message.is_history_complete = complete_;
    if (known != topics_.end()) {
      const entry& last = known->second;
      message.last_live = {last.number, last.connection,
                           last.payload && last.payload == of_message.payload};
    }
  } else if (known != topics_.end()) {
    known->second = {message.number, message.connection, of_message.payload};
  } else if (topics_.size() < most_topics) {
    topics_.emplace(of_message.topic,
                    entry{message.number, message.connection, of_message.payload});
  } else {
    complete_ = false;
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
