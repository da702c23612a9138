#include "mqtt/sensors/sensor_subscription.hpp"

#include <utility>

#include "liblog/severity.hpp"
#include "mqtt/client_store.hpp"

namespace brunvik::monitoring_modules::mqtt {

namespace severity = liblog::severity;

namespace {

void log_client(liblog::log_interface& log, mqtt_client_interface& client) {
  log.log(severity::debug, "Using MQTT Client with Client ID: " + client.client_id());
  log.log(severity::debug,
          "  Number of active Clients    : " + std::to_string(client.active_client_count()));
  log.log(severity::debug,
          "  Subscriptions on used Client: " + std::to_string(client.subscription_count()));
}

}  // namespace

sensor_subscription::sensor_subscription(libkavuhelper::module::service_container& container,
                                         std::int32_t id, const mqtt_client_settings& settings,
                                         std::shared_ptr<liblog::log_interface> logger,
                                         const std::string& filter,
                                         topic_subscription::message_callback callback)
    : logger_(std::move(logger)),
      left_out_(container, id, logger_, filter),
      subscription_(std::make_shared<topic_subscription>(
          filter, std::move(callback),
          [topics = left_out_.topics()](const std::string& topic) { topics->note(topic); })) {
  mqtt_client_settings with_logger = settings;
  with_logger.logger = logger_;
  client_ = get_or_create_client(container, with_logger);
  if (logger_ != nullptr) {
    log_client(*logger_, *client_);
  }
  // A client that was there already does not know this log yet.
  client_->add_logger(logger_, severity::debug);
  try {
    client_->subscribe(subscription_);
  } catch (...) {
    client_->remove_logger(logger_);
    throw;
  }
  try {
    require_flowing();
  } catch (const std::exception&) {
    // The first scan tells.
  }
}

sensor_subscription::~sensor_subscription() {
  try {
    client_->unsubscribe(subscription_);
  } catch (const std::exception& failure) {
    if (logger_ != nullptr) {
      logger_->log(severity::warning, failure.what());
    }
  }
  client_->remove_logger(logger_);
}

bool sensor_subscription::require_flowing() {
  const auto before = std::exchange(connection_, std::nullopt);
  connection_ = client_->require_subscribed(subscription_->topic());
  return before == connection_;
}

}  // namespace brunvik::monitoring_modules::mqtt
