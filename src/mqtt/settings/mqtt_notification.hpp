#pragma once

#include <cstdint>
#include <string>

#include "mqtt/settings/credentials.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

/// How a notification reaches its broker. Read-only once built; building it throws the setting
/// failure of the first value that is missing or wrong.
struct mqtt_notification {
  explicit mqtt_notification(const libkavuhelper::settings::sensor_data_wrapper& data);

  user_credentials credentials;
  settings::tls tls;
  std::string host;
  /// 0 to 65535: unlike a sensor's, the port of a notification may be 0 here.
  std::int64_t port;
  std::string client_id;
};

}  // namespace brunvik::monitoring_modules::mqtt::settings
