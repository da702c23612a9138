#include "mqtt/sensors/client_settings.hpp"

#include "mqtt/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

tls_settings make_tls_settings(const settings::tls& tls) {
  tls_settings made;
  if (!tls.active) {
    return made;
  }
  made.mode = tls_settings::tls_mode::on;
  if (tls.server_auth_active) {
    if (tls.ca_certificate.empty()) {
      throw exceptions::server_authentication_activated_but_ca_is_empty();
    }
    made.ca_certificate = tls.ca_certificate;
  }
  if (tls.client_auth_active) {
    if (tls.client_certificate.empty()) {
      throw exceptions::client_authentication_activated_but_certificate_is_empty();
    }
    made.client_certificate = tls.client_certificate;
    made.client_key = tls.client_key;
    made.client_key_password = tls.client_key_password;
  }
  return made;
}

}  // namespace

mqtt_client_settings make_client_settings(const std::string& host, std::int64_t port,
                                          std::int64_t connect_timeout,
                                          const settings::user_credentials& credentials,
                                          const settings::tls& tls, const std::string& client_id) {
  mqtt_client_settings made;
  made.host = host;
  made.port = port;
  made.connect_timeout = connect_timeout;
  made.client_id = client_id;
  if (credentials.active) {
    made.user_name = credentials.user;
    made.password = credentials.password;
  }
  made.tls = make_tls_settings(tls);
  return made;
}

}  // namespace brunvik::monitoring_modules::mqtt
