#include "mqtt/topic_subscription.hpp"

#include <utility>

namespace brunvik::monitoring_modules::mqtt {

topic_subscription::topic_subscription(std::string filter, message_callback callback,
                                       topic_callback left_out)
    : filter_(std::move(filter)), callback_(std::move(callback)), left_out_(std::move(left_out)) {}

std::string topic_subscription::topic() {
  return filter_.text();
}

bool topic_subscription::matches(const std::string& topic) {
  return filter_.matches(topic);
}

void topic_subscription::on_message(std::shared_ptr<received_message> message) {
  callback_(std::move(message));
}

void topic_subscription::on_mismatch(const std::string& topic) {
  if (left_out_ && filter_.leaves_out(topic)) {
    left_out_(topic);
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
