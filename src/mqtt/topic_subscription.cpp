#include "mqtt/topic_subscription.hpp"

#include <utility>

namespace brunvik::monitoring_modules::mqtt {

topic_subscription::topic_subscription(std::string filter, message_callback callback)
    : filter_(std::move(filter)), callback_(std::move(callback)) {}

std::string topic_subscription::topic() {
  return filter_.text();
}

bool topic_subscription::matches(const std::string& topic) {
  return filter_.matches(topic);
}

void topic_subscription::on_message(std::shared_ptr<received_message> message) {
  callback_(std::move(message));
}

}  // namespace brunvik::monitoring_modules::mqtt
