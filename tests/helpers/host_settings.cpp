#include "helpers/host_settings.hpp"

#include <algorithm>
#include <stdexcept>

namespace kavu_test {
namespace {

const std::string user_group = "credentials.user_credentials.";
const std::string tls_group = "credentials.tls.";
const std::string custom_group = "subscribe_custom.connection_subscribe_custom.";

bool is_secure(std::string_view key) {
  return key == "brunvikcloudapikey" || key.ends_with("password");
}

void assign(google::protobuf::RepeatedPtrField<kavu::wire::KeyValue>& list, std::string_view key,
            std::string_view value) {
  for (auto& entry : list) {
    if (entry.key() == key) {
      entry.set_value(std::string(value));
      return;
    }
  }
  auto& entry = *list.Add();
  entry.set_key(std::string(key));
  entry.set_value(std::string(value));
}

}  // namespace

host_settings::host_settings() {
  envelope_.set_api_level(6);
}

google::protobuf::RepeatedPtrField<kavu::wire::KeyValue>& host_settings::settings(bool secure) {
  const auto of = [&](auto* message) {
    return secure ? message->mutable_secure_settings() : message->mutable_settings();
  };
  return envelope_.has_sensor_data()  ? *of(envelope_.mutable_sensor_data())
         : envelope_.has_check_data() ? *of(envelope_.mutable_check_data())
                                      : *of(envelope_.mutable_notification_request());
}

host_settings& host_settings::set_common(std::uint16_t port) {
  set("host", "127.0.0.1");
  set("logging", "disabled");
  set("interval", "60");
  set("timeout", "10");
  set("brunvikcloudapikey", "");
  set("ipversion", "IPv4");
  set("credentials.connection_mqtt.port", std::to_string(port));
  return set_credentials();
}

host_settings& host_settings::set_credentials() {
  for (const auto& key : {user_group + "active", tls_group + "active",
                          tls_group + "server_auth_active", tls_group + "client_auth_active"}) {
    set(key, "no");
  }
  for (const auto& key : {user_group + "user", user_group + "password",
                          tls_group + "ca_certificate", tls_group + "client_certificate",
                          tls_group + "client_key", tls_group + "client_key_password"}) {
    set(key, "");
  }
  return *this;
}

host_settings host_settings::sensor(std::string_view kind, std::uint16_t port) {
  host_settings made;
  made.envelope_.mutable_sensor_data()->set_kind(std::string(kind));
  return made.set_common(port);
}

host_settings host_settings::roundtrip_sensor(std::uint16_t port) {
  return sensor("roundtrip_sensor", port)
      .set("roundtrip.connection_roundtrip.topic", "TRAVO/roundtrip/%sensorid")
      .set("roundtrip.connection_roundtrip.use_custom_settings", "no")
      .set("roundtrip.connection_roundtrip.client_id", "TRAVO_%sensorid");
}

host_settings host_settings::statistics_sensor(std::uint16_t port, std::string_view topic) {
  return sensor("statistics_sensor", port).set("statistics.connection_statistics.topic", topic);
}

host_settings host_settings::custom_sensor(std::uint16_t port, std::string_view topic) {
  host_settings made = sensor("subscribe_custom_sensor", port);
  made.custom("topic", topic);
  made.custom("duration_since_last_message", "disable");
  made.custom("retain_last_message", "dismiss");
  made.custom("message_path", "");
  for (int number = 1; number <= 10; ++number) {
    const std::string channel = "channel" + std::to_string(number);
    if (number > 1) {
      made.custom(channel, "disable");
    }
    made.custom(channel + "_jsonpath", "");
    made.custom(channel + "_name", "");
    made.custom(channel + "_unit", "");
    made.custom(channel + "_type", "absolute_float");
    made.custom(channel + "_scale_factor", "1");
  }
  return made;
}

host_settings host_settings::connect_check(std::uint16_t port) {
  host_settings made;
  made.envelope_.mutable_check_data()->set_kind("mqtt_connect_check");
  return made.set_common(port);
}

host_settings host_settings::notification(std::uint16_t port, std::string_view target,
                                          std::string_view message) {
  host_settings made;
  auto& request = *made.envelope_.mutable_notification_request();
  request.set_service("mqtt_notification");
  request.set_target(std::string(target));
  request.set_message(std::string(message));
  request.set_timeout_s(10);
  return made.set_credentials()
      .set("connection.host", "127.0.0.1")
      .set("connection.port", std::to_string(port))
      .set("connection.client_id", "notification");
}

host_settings& host_settings::kind(std::string_view name) {
  if (envelope_.has_sensor_data()) {
    envelope_.mutable_sensor_data()->set_kind(std::string(name));
  } else if (envelope_.has_check_data()) {
    envelope_.mutable_check_data()->set_kind(std::string(name));
  } else {
    envelope_.mutable_notification_request()->set_service(std::string(name));
  }
  return *this;
}

host_settings& host_settings::set(std::string_view key, std::string_view value) {
  assign(settings(is_secure(key)), key, value);
  return *this;
}

host_settings& host_settings::remove(std::string_view key) {
  auto& list = settings(is_secure(key));
  const auto found =
      std::find_if(list.begin(), list.end(), [&](const auto& entry) { return entry.key() == key; });
  if (found == list.end()) {
    throw std::logic_error("there is no setting " + std::string(key));
  }
  list.erase(found);
  return *this;
}

host_settings& host_settings::user(std::string_view name, std::string_view password) {
  set(user_group + "active", "yes");
  set(user_group + "user", name);
  return set(user_group + "password", password);
}

host_settings& host_settings::tls(std::string_view ca_pem) {
  set(tls_group + "active", "yes");
  set(tls_group + "server_auth_active", ca_pem.empty() ? "no" : "yes");
  return set(tls_group + "ca_certificate", ca_pem);
}

host_settings& host_settings::client_certificate(const certificate& client) {
  set(tls_group + "client_auth_active", "yes");
  set(tls_group + "client_certificate", client.pem);
  set(tls_group + "client_key", client.key_pem);
  return set(tls_group + "client_key_password", client.key_password);
}

host_settings& host_settings::channel(int number, std::string_view path, std::string_view type) {
  const std::string name = "channel" + std::to_string(number);
  if (number > 1) {
    custom(name, "enable");
  }
  custom(name + "_name", "Channel " + std::to_string(number));
  custom(name + "_type", type);
  return custom(name + "_jsonpath", path);
}

host_settings& host_settings::custom(std::string_view name, std::string_view value) {
  return set(custom_group + std::string(name), value);
}

host_settings& host_settings::persistent(std::string_view key, std::string_view value) {
  assign(*envelope_.mutable_sensor_data()->mutable_persistent_data(), key, value);
  return *this;
}

host_settings& host_settings::known_channel(const kavu::wire::ChannelDefinition& definition) {
  *envelope_.mutable_sensor_data()->add_channels() = definition;
  return *this;
}

}  // namespace kavu_test
