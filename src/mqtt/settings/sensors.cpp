// The records that are little more than their groups.

#include "mqtt/settings/group_reader.hpp"
#include "mqtt/settings/mqtt_connect_check.hpp"
#include "mqtt/settings/roundtrip_sensor.hpp"
#include "mqtt/settings/statistics_sensor.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

using libkavuhelper::settings::sensor_data_wrapper;

roundtrip_sensor::roundtrip_sensor(const sensor_data_wrapper& data)
    : common(data),
      credentials(data, credentials_section),
      connection(data, credentials_section),
      tls(data, credentials_section) {
  const group_reader group(data, "roundtrip", "connection_roundtrip");
  topic = group.text("topic");
  use_custom_settings = group.yes_no("use_custom_settings");
  client_id = group.raw("client_id");
}

statistics_sensor::statistics_sensor(const sensor_data_wrapper& data)
    : common(data),
      credentials(data, credentials_section),
      connection(data, credentials_section),
      tls(data, credentials_section) {
  topic = group_reader(data, "statistics", "connection_statistics").text("topic");
}

mqtt_connect_check::mqtt_connect_check(const sensor_data_wrapper& data)
    : common(data),
      credentials(data, credentials_section),
      connection(data, credentials_section),
      tls(data, credentials_section) {}

}  // namespace brunvik::monitoring_modules::mqtt::settings
