#include "mqtt/settings/mqtt_notification.hpp"

#include "kavuhelper/settings/kinds.hpp"
#include "mqtt/settings/integer.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

namespace kinds = libkavuhelper::settings;

namespace {

std::int64_t parse_port(const kinds::sensor_data_wrapper& data) {
  const kinds::validation_rules any_port{
      .minimum = 0, .is_minimum_set = true, .maximum = 65'535, .is_maximum_set = true};
  return parse_integer("connection.port", data.get_value("connection.port"), any_port);
}

}  // namespace

mqtt_notification::mqtt_notification(const kinds::sensor_data_wrapper& data)
    : credentials(data, credentials_section),
      tls(data, credentials_section),
      host(kinds::kind_string::parse_and_validate(data.get_value("connection.host"))),
      port(parse_port(data)),
      client_id(kinds::kind_string::parse_and_validate(data.get_value("connection.client_id"))) {}

}  // namespace brunvik::monitoring_modules::mqtt::settings
