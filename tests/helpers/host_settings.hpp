#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "envelope.pb.h"
#include "helpers/certificates.hpp"

namespace kavu_test {

/// What a host sends to create a sensor, run a check or send a notification: every setting with
/// its default, each of which a test may change.
///
///     host.create_sensor(7, host_settings::statistics_sensor(broker.port(), "plant/#")
///                               .set("logging", "enabled")
///                               .user("anna", "secret"));
class host_settings {
 public:
  static host_settings roundtrip_sensor(std::uint16_t port);
  static host_settings statistics_sensor(std::uint16_t port, std::string_view topic);
  static host_settings custom_sensor(std::uint16_t port, std::string_view topic);
  static host_settings connect_check(std::uint16_t port);
  static host_settings notification(std::uint16_t port, std::string_view target,
                                    std::string_view message);

  /// Sets a value under its full flat key; passwords find their way into the secure field.
  host_settings& set(std::string_view key, std::string_view value);
  /// As a host that does not know the setting: the key is not sent at all.
  host_settings& remove(std::string_view key);
  host_settings& kind(std::string_view name);

  host_settings& user(std::string_view name, std::string_view password);
  /// TLS; the server is checked when there is a CA.
  host_settings& tls(std::string_view ca_pem);
  host_settings& client_certificate(const certificate& client);
  /// A channel of the custom sensor, switched on. Further settings of it: "channelN_..." above.
  host_settings& channel(int number, std::string_view path,
                         std::string_view type = "absolute_float");
  /// A setting of the custom sensor's own group, by its bare name.
  host_settings& custom(std::string_view name, std::string_view value);

  host_settings& persistent(std::string_view key, std::string_view value);
  host_settings& known_channel(const kavu::wire::ChannelDefinition& definition);

  /// For what has no verb here.
  kavu::wire::Envelope& envelope() { return envelope_; }
  /// The bytes for the module.
  std::string serialize() const { return envelope_.SerializeAsString(); }

 private:
  host_settings();

  static host_settings sensor(std::string_view kind, std::uint16_t port);
  host_settings& set_common(std::uint16_t port);
  host_settings& set_credentials();
  google::protobuf::RepeatedPtrField<kavu::wire::KeyValue>& settings(bool secure);

  kavu::wire::Envelope envelope_;
};

}  // namespace kavu_test
