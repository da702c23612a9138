#include "mqtt/settings/credentials.hpp"

#include "mqtt/settings/group_reader.hpp"
#include "mqtt/settings/integer.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

namespace kinds = libkavuhelper::settings;
using kinds::sensor_data_wrapper;

user_credentials::user_credentials(const sensor_data_wrapper& data, std::string_view section) {
  const group_reader group(data, section, "user_credentials");
  active = group.yes_no("active");
  user = group.text("user");
  password = group.secret("password");
}

connection_mqtt::connection_mqtt(const sensor_data_wrapper& data, std::string_view section) {
  const group_reader group(data, section, "connection_mqtt");
  const kinds::validation_rules any_port{
      .minimum = 1, .is_minimum_set = true, .maximum = 65'535, .is_maximum_set = true};
  port = parse_integer(group.key("port"), group.raw("port"), any_port);
}

tls::tls(const sensor_data_wrapper& data, std::string_view section) {
  const group_reader group(data, section, "tls");
  active = group.yes_no("active");
  server_auth_active = group.yes_no("server_auth_active");
  ca_certificate = group.text("ca_certificate");
  client_auth_active = group.yes_no("client_auth_active");
  client_certificate = group.text("client_certificate");
  client_key = group.text("client_key");
  client_key_password = group.secret("client_key_password");
}

}  // namespace brunvik::monitoring_modules::mqtt::settings
