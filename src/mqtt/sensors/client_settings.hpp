#pragma once

#include <cstdint>
#include <string>

#include "mqtt/mqtt_client_settings.hpp"
#include "mqtt/settings/common_block.hpp"
#include "mqtt/settings/credentials.hpp"

/// From what the user has set to what a client needs.
namespace brunvik::monitoring_modules::mqtt {

/// The client identifier of everything but the round trip; each client adds random characters.
inline constexpr const char* shared_client_id = "TRAVO_";

/// The settings of a client for this broker, over addresses of both families. Groups that are
/// switched off leave no trace in them, so that sensors that differ only there share a client.
/// Throws `server_authentication_activated_but_ca_is_empty` and
/// `client_authentication_activated_but_certificate_is_empty`.
mqtt_client_settings make_client_settings(const std::string& host, std::int64_t port,
                                          std::int64_t connect_timeout,
                                          const settings::user_credentials& credentials,
                                          const settings::tls& tls, const std::string& client_id);

/// The same for the settings record of a sensor or check, which says the family.
template <class Record>
mqtt_client_settings make_client_settings(const Record& record, const std::string& client_id) {
  auto made =
      make_client_settings(record.common.host, record.connection.port, record.common.timeout,
                           record.credentials, record.tls, client_id);
  made.family = record.common.ipversion == settings::ip_version::ipv6 ? address_family::ipv6
                                                                      : address_family::ipv4;
  return made;
}

}  // namespace brunvik::monitoring_modules::mqtt
