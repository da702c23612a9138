#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "liblog/log_interface.hpp"
#include "mqtt/quality_of_service.hpp"
#include "mqtt/topic_subscription_interface.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// One connection to a broker, shared by all sensors of equal settings.
///
/// All operations may be called on several threads at once, but none on the client's own threads,
/// where subscriptions are served. Failures are those of exceptions.hpp. The last owner that lets
/// go ends the connection on its thread, within two seconds whatever the broker does.
class mqtt_client_interface {
 public:
  virtual ~mqtt_client_interface() = default;

  /// Registers the subscription and, when connected, has the broker subscribe to its filter with
  /// quality of service 2. When not connected it is subscribed as soon as the connection is back.
  /// Throws and leaves nothing registered when the filter cannot be sent, the broker refuses it,
  /// does not answer within the connect time-out, or the connection is lost meanwhile. A message
  /// can be delivered before this returns. Registering the same subscription again changes nothing.
  virtual void subscribe(std::shared_ptr<topic_subscription_interface> subscription) = 0;

  /// Ends the subscription: no further message is delivered to it, but one may be under way on
  /// another thread. The broker's subscription goes with the filter's last entry. Waits at most a
  /// second for the broker's answer.
  virtual void unsubscribe(std::shared_ptr<topic_subscription_interface> subscription) = 0;

  /// Sends one message, and returns when the quality of service asked for has been achieved.
  /// Throws when not connected, when topic or payload cannot be sent, and when the connection ends
  /// before. Otherwise it lasts as long as the library keeps the message pending: a connection that
  /// is dead is noticed within one and a half times the keep-alive interval, and a broker that
  /// lives but has not acknowledged the message by then and the connect time-out never will.
  virtual void publish(const std::string& topic, const std::string& payload,
                       const quality_of_service& qos, bool retain) = 0;

  /// Has the library notice at once what arrives within the next second, which it may otherwise do
  /// a tenth of a second late. For whoever is going to measure a time. Takes at most a fifth of a
  /// second.
  virtual void expect_arrival() = 0;

  /// Clients alive in this process.
  virtual std::size_t active_client_count() = 0;

  /// How long the first connection took; -1 until it has succeeded, also when that attempt failed
  /// and a later one did not.
  virtual std::int64_t connect_duration_ms() = 0;

  /// Whether the connection stands, as far as is known. Never waits.
  virtual bool is_connected() = 0;

  /// The client identifier sent to the broker, random suffix included.
  virtual std::string client_id() = 0;

  /// Topic filters registered.
  virtual std::size_t subscription_count() = 0;

  /// Attaches a log that takes the client's lines up to severity `level`; held weakly. Null is
  /// ignored.
  virtual void add_logger(std::shared_ptr<liblog::log_interface> logger, int level) = 0;

  /// Detaches it. Null is ignored.
  virtual void remove_logger(std::shared_ptr<liblog::log_interface> logger) = 0;

  /// Throws unless messages of this filter are flowing: `connection_lost` while the connection is
  /// down or the filter has not been renewed since it came back, or the broker's refusal of the
  /// filter. Returns the number of the connection on which they flow: what has been counted between
  /// two calls is complete only if neither has thrown and both give the same. Never waits.
  virtual std::uint64_t require_subscribed(const std::string& filter) = 0;
};

}  // namespace brunvik::monitoring_modules::mqtt
