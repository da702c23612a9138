#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "kavuhelper/settings/secure_string.hpp"
#include "liblog/log_interface.hpp"
#include "mqtt/address_family.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Transport security of one broker connection.
///
/// Certificates and keys are PEM text or the path of a PEM file.
struct tls_settings {
  enum class tls_mode : unsigned { off = 0, on = 1 };

  /// Anything but `on` is plain TCP.
  tls_mode mode = tls_mode::off;
  /// Whom to trust. Empty: the broker's certificate is not verified.
  std::string ca_certificate;
  /// Who we are. Empty: no client authentication.
  std::string client_certificate;
  /// The private key of `client_certificate`. Empty: it stands in the same PEM.
  std::string client_key;
  /// The pass phrase of the private key. Empty: it has none.
  libkavuhelper::settings::secure_string client_key_password;

  bool operator==(const tls_settings& other) const;
};

/// The complete description of one broker connection.
///
/// It is also the key under which sensors share a client: equality covers all fields but
/// `connect_timeout` and `logger`, so two sensors that differ only in these share a connection,
/// and the first one's values are in effect. The hash leaves `family` out as well.
struct mqtt_client_settings {
  /// Host name or address without scheme and port; IPv6 literals in brackets.
  std::string host;
  std::int64_t port = -1;
  std::string client_id;
  /// Random characters appended to `client_id` when a client is made; 0 appends nothing.
  std::uint8_t client_id_suffix_length = 5;
  /// Seconds for the first connection attempt, and for an answer to a subscription. Clamped to
  /// what the library can carry. Not part of the key.
  std::int64_t connect_timeout = 0;
  /// Empty: none, neither of this nor of the password; with a password, an empty one.
  std::string user_name;
  /// Empty: none.
  libkavuhelper::settings::secure_string password;
  /// Seconds between signs of life (MQTT 3.1.1, section 3.1.2.10).
  std::int64_t keep_alive = 300;
  bool clean_session = true;
  /// Whether the client connects again by itself, the first time included.
  bool automatic_reconnect = true;
  tls_settings tls;
  /// Over which addresses of the host to connect.
  address_family family = address_family::any;
  /// Where the client's lines go as well, up to severity 7. The client refers to it weakly. Not
  /// part of the key.
  std::shared_ptr<liblog::log_interface> logger;

  bool operator==(const mqtt_client_settings& other) const;
};

}  // namespace brunvik::monitoring_modules::mqtt

template <>
struct std::hash<brunvik::monitoring_modules::mqtt::mqtt_client_settings> {
  std::size_t operator()(
      const brunvik::monitoring_modules::mqtt::mqtt_client_settings& settings) const;
};
