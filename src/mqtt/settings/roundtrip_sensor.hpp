#pragma once

#include <string>

#include "mqtt/settings/common_block.hpp"
#include "mqtt/settings/credentials.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

/// Everything that the user has set for one round-trip sensor. Read-only once built; building it
/// throws the setting failure of the first value that is missing or wrong.
struct roundtrip_sensor {
  explicit roundtrip_sensor(const libkavuhelper::settings::sensor_data_wrapper& data);

  common_block common;
  user_credentials credentials;
  connection_mqtt connection;
  settings::tls tls;

  /// "%sensorid" in it stands for the sensor's id.
  std::string topic;
  bool use_custom_settings;
  /// The same placeholder. Counts whatever `use_custom_settings` says: the host sends the default
  /// when the user has not chosen.
  std::string client_id;
};

}  // namespace brunvik::monitoring_modules::mqtt::settings
