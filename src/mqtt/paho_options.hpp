#pragma once

#include <MQTTAsync.h>

#include <string>

#include "mqtt/client_log.hpp"
#include "mqtt/mqtt_client_settings.hpp"
#include "mqtt/pem_file.hpp"

/// Internal to the implementation of the client: this header shows the library's structures.
namespace brunvik::monitoring_modules::mqtt {

/// "ssl://" or "tcp://", host and port.
std::string make_server_uri(const mqtt_client_settings& settings);
/// The same without TLS for an address, which may be one of IPv6.
std::string make_plain_uri(const std::string& address, std::int64_t port);

/// Throws a `client_failure` when a text of the settings holds a NUL: the library takes texts that
/// end there, and would silently use the rest.
void require_no_nul(const mqtt_client_settings& settings, const std::string& client_id);

/// The structure for making a handle: MQTT 3.1.1, nothing is buffered while disconnected.
MQTTAsync_createOptions make_create_options();

/// The connect options with everything that they point to. They must live as long as the handle:
/// the library keeps the pointers for later attempts.
class paho_options {
 public:
  /// Logs what is used. Throws when a certificate cannot be handed over.
  paho_options(const mqtt_client_settings& settings, client_log& log);
  paho_options(const paho_options&) = delete;
  paho_options& operator=(const paho_options&) = delete;

  /// The server URI and the callbacks, with their context, are the caller's to set; see connect().
  MQTTAsync_connectOptions connect;
  MQTTAsync_SSLOptions tls;

 private:
  void set_connection(const mqtt_client_settings& settings);
  void set_credentials();
  void set_tls(client_log& log);

  /// A secret as the library wants it.
  struct wiped_text {
    ~wiped_text();
    std::string text;
  };

  std::string user_name_;
  wiped_text password_;
  wiped_text client_key_password_;
  pem_file ca_certificate_;
  pem_file client_certificate_;
  pem_file client_key_;
};

}  // namespace brunvik::monitoring_modules::mqtt
