#pragma once

#include <memory>
#include <string>

#include "mqtt/received_message.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// A standing interest in a topic filter. A client refers to it weakly: whoever made it ends it by
/// letting go.
class topic_subscription_interface {
 public:
  virtual ~topic_subscription_interface() = default;

  /// The topic filter. [any-thread]
  virtual std::string topic() = 0;

  /// Whether the filter covers this topic. [any-thread]
  virtual bool matches(const std::string& topic) = 0;

  /// Takes one message. [client-thread]: must be quick, must not wait for the client or destroy
  /// it, and may run at the same time as anything else, the end of the sensor included.
  virtual void on_message(std::shared_ptr<received_message> message) = 0;

  /// Hears of a topic that `matches` has denied: the broker delivered it for another filter of the
  /// client, or for this one, whose wildcards the broker reads more widely. [client-thread], as
  /// above.
  virtual void on_mismatch(const std::string& /*topic*/) {}
};

}  // namespace brunvik::monitoring_modules::mqtt
