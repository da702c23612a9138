#include "mqtt/sensors/mqtt_notification.hpp"

#include <utility>

#include "libi18n/i18n_exception.hpp"
#include "liblog/multiplex_logger.hpp"
#include "liblog/severity.hpp"
#include "mqtt/client_store.hpp"
#include "mqtt/sensors/client_settings.hpp"
#include "mqtt/settings/mqtt_notification.hpp"

namespace brunvik::monitoring_modules::mqtt {

namespace severity = liblog::severity;
using libkavuhelper::notifications::request;

namespace {

mqtt_client_settings make_settings(const request& notification) {
  const settings::mqtt_notification record(notification.get_settings());
  auto made = make_client_settings(record.host, record.port, notification.get_timeout_s(),
                                   record.credentials, record.tls, record.client_id);
  made.automatic_reconnect = false;
  return made;
}

/// Attaches a log to a client for as long as it lives.
class attached_logger {
 public:
  attached_logger(mqtt_client_interface& client, std::shared_ptr<liblog::log_interface> logger,
                  int level)
      : client_(client), logger_(std::move(logger)) {
    client_.add_logger(logger_, level);
  }
  ~attached_logger() { client_.remove_logger(logger_); }
  attached_logger(const attached_logger&) = delete;
  attached_logger& operator=(const attached_logger&) = delete;

 private:
  mqtt_client_interface& client_;
  std::shared_ptr<liblog::log_interface> logger_;
};

}  // namespace

mqtt_notification::mqtt_notification(
    std::shared_ptr<libkavuhelper::module::service_container> container,
    std::shared_ptr<liblog::log_interface> logger)
    : container_(std::move(container)), logger_(std::move(logger)) {}

void mqtt_notification::send(const request& notification) {
  log(severity::debug, "send_notification start");
  try {
    publish(notification);
    log(severity::debug, "send_notification finished");
  } catch (const libi18n::i18n_exception& failure) {
    log(severity::error, "send_notification failed: " + failure.message().text());
    throw;
  } catch (const std::exception& failure) {
    log(severity::error, std::string("send_notification failed: ") + failure.what());
    throw;
  }
}

void mqtt_notification::publish(const request& notification) {
  log(severity::debug, "create client settings");
  auto settings = make_settings(notification);
  log(severity::debug, "get mqtt client");
  const auto client = get_client(std::move(settings));
  const attached_logger attached(*client, logger_, severity::notice);
  log(severity::debug, "publish message");
  client->publish(notification.get_target(), notification.get_message(),
                  quality_of_service::at_least_once, false);
}

// Why a client cannot connect is told while it is made.
std::shared_ptr<mqtt_client_interface> mqtt_notification::get_client(
    mqtt_client_settings settings) {
  const auto while_it_is_made = std::make_shared<liblog::multiplex_logger>();
  while_it_is_made->add(logger_, severity::warning);
  settings.logger = while_it_is_made;
  return get_or_create_client(*container_, settings);
}

void mqtt_notification::log(int severity, const std::string& message) {
  if (logger_ != nullptr) {
    logger_->log(severity, message);
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
