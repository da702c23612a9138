#pragma once

#include <memory>

#include "kavuhelper/module/service_container.hpp"
#include "kavuhelper/notifications/service_interface.hpp"
#include "liblog/log_interface.hpp"
#include "mqtt/mqtt_client_interface.hpp"
#include "mqtt/mqtt_client_settings.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Publishes a notification's text to a topic, through a client that it shares with whoever has
/// equal settings.
class mqtt_notification final : public libkavuhelper::notifications::service_interface {
 public:
  /// `logger` may be null.
  mqtt_notification(std::shared_ptr<libkavuhelper::module::service_container> container,
                    std::shared_ptr<liblog::log_interface> logger);

  /// Returns when the broker has acknowledged the text (quality of service 1). Throws a setting
  /// failure or an MQTT failure otherwise, after having logged it.
  void send(const libkavuhelper::notifications::request& notification) override;

 private:
  void publish(const libkavuhelper::notifications::request& notification);
  std::shared_ptr<mqtt_client_interface> get_client(mqtt_client_settings settings);
  void log(int severity, const std::string& message);

  const std::shared_ptr<libkavuhelper::module::service_container> container_;
  const std::shared_ptr<liblog::log_interface> logger_;
};

}  // namespace brunvik::monitoring_modules::mqtt
