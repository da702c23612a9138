#pragma once

#include <functional>
#include <memory>
#include <string>

#include "mqtt/topic_filter.hpp"
#include "mqtt/topic_subscription_interface.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// A topic filter with a callback for what matches it.
///
/// The callback must not refer to its sensor, which may be gone while the last message is being
/// delivered, and must not hold the client: it holds what it writes to. Immutable: may be used on
/// any thread.
class topic_subscription : public topic_subscription_interface {
 public:
  using message_callback = std::function<void(std::shared_ptr<received_message>)>;
  using topic_callback = std::function<void(const std::string& topic)>;

  /// `left_out` hears of topics that the broker delivers for the filter and that its wildcards do
  /// not cover (`topic_filter::leaves_out`). Throws `exceptions::invalid_topic` for a malformed
  /// filter.
  topic_subscription(std::string filter, message_callback callback, topic_callback left_out = {});

  std::string topic() override;
  bool matches(const std::string& topic) override;
  void on_message(std::shared_ptr<received_message> message) override;
  void on_mismatch(const std::string& topic) override;

 private:
  topic_filter filter_;
  message_callback callback_;
  topic_callback left_out_;
};

}  // namespace brunvik::monitoring_modules::mqtt
