#pragma once

#include "mqtt/settings/common_block.hpp"
#include "mqtt/settings/credentials.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

/// Everything that the user has set for one connection check. Read-only once built; building it
/// throws the setting failure of the first value that is missing or wrong.
struct mqtt_connect_check {
  explicit mqtt_connect_check(const libkavuhelper::settings::sensor_data_wrapper& data);

  common_block common;
  user_credentials credentials;
  connection_mqtt connection;
  settings::tls tls;
};

}  // namespace brunvik::monitoring_modules::mqtt::settings
