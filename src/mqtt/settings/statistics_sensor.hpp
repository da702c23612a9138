#pragma once

#include <string>

#include "mqtt/settings/common_block.hpp"
#include "mqtt/settings/credentials.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

/// Everything that the user has set for one statistics sensor. Read-only once built; building it
/// throws the setting failure of the first value that is missing or wrong.
struct statistics_sensor {
  explicit statistics_sensor(const libkavuhelper::settings::sensor_data_wrapper& data);

  common_block common;
  user_credentials credentials;
  connection_mqtt connection;
  settings::tls tls;

  /// A topic filter.
  std::string topic;
};

}  // namespace brunvik::monitoring_modules::mqtt::settings
