#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kavuhelper/settings/secure_string.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"

/// The groups of settings that say how to reach a broker. Each is read from the section whose name
/// it is given, in the order of its fields, and throws a setting failure for the first value that
/// is missing or wrong.
namespace brunvik::monitoring_modules::mqtt::settings {

inline constexpr std::string_view credentials_section = "credentials";

struct user_credentials {
  user_credentials(const libkavuhelper::settings::sensor_data_wrapper& data,
                   std::string_view section);

  bool active;
  std::string user;
  libkavuhelper::settings::secure_string password;
};

struct connection_mqtt {
  connection_mqtt(const libkavuhelper::settings::sensor_data_wrapper& data,
                  std::string_view section);

  /// 1 to 65535.
  std::int64_t port;
};

/// Certificates and keys are PEM text, taken as it comes.
struct tls {
  tls(const libkavuhelper::settings::sensor_data_wrapper& data, std::string_view section);

  bool active;
  bool server_auth_active;
  std::string ca_certificate;
  bool client_auth_active;
  std::string client_certificate;
  std::string client_key;
  libkavuhelper::settings::secure_string client_key_password;
};

}  // namespace brunvik::monitoring_modules::mqtt::settings
