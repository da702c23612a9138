#include "helpers/host_settings.hpp"

#include <algorithm>
#include <stdexcept>

namespace kavu_test {
namespace {

constexpr std::string_view user_group = "credentials.user_credentials.";
constexpr std::string_view tls_group = "credentials.tls.";
constexpr std::string_view custom_group = "subscribe_custom.connection_subscribe_custom.";

std::string joined(std::string_view first, std::string_view second) {
  return std::string(first) += second;
}

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
  const auto of = [&](auto& message) {
    return secure ? message->mutable_secure_settings() : message->mutable_settings();
  };
  switch (envelope_.content_case()) {
    case kavu::wire::Envelope::kSensorData: {
      auto* data = envelope_.mutable_sensor_data();
      return *of(data);
    }
    case kavu::wire::Envelope::kCheckData: {
      auto* data = envelope_.mutable_check_data();
      return *of(data);
    }
    default: {
      auto* data = envelope_.mutable_notification_request();
      return *of(data);
    }
  }
}

void host_settings::set_common(std::uint16_t port) {
  set("host", "127.0.0.1");
  set("logging", "disabled");
  set("interval", "60");
  set("timeout", "10");
  set("brunvikcloudapikey", "");
  set("ipversion", "IPv4");
  set("credentials.connection_mqtt.port", std::to_string(port));
  set_credentials();
}

void host_settings::set_credentials() {
  set(joined(user_group, "active"), "no");
  set(joined(user_group, "user"), "");
  set(joined(user_group, "password"), "");
  for (const char* name : {"active", "server_auth_active", "client_auth_active"}) {
    set(joined(tls_group, name), "no");
  }
  for (const char* name :
       {"ca_certificate", "client_certificate", "client_key", "client_key_password"}) {
    set(joined(tls_group, name), "");
  }
}

host_settings host_settings::roundtrip_sensor(std::uint16_t port) {
  host_settings made;
  made.envelope_.mutable_sensor_data();
  made.kind("roundtrip_sensor").set_common(port);
  made.set("roundtrip.connection_roundtrip.topic", "TRAVO/roundtrip/%sensorid");
  made.set("roundtrip.connection_roundtrip.use_custom_settings", "no");
  made.set("roundtrip.connection_roundtrip.client_id", "TRAVO_%sensorid");
  return made;
}

host_settings host_settings::statistics_sensor(std::uint16_t port, std::string_view topic) {
  host_settings made;
  made.envelope_.mutable_sensor_data();
  made.kind("statistics_sensor").set_common(port);
  made.set("statistics.connection_statistics.topic", topic);
  return made;
}

host_settings host_settings::custom_sensor(std::uint16_t port, std::string_view topic) {
  host_settings made;
  made.envelope_.mutable_sensor_data();
  made.kind("subscribe_custom_sensor").set_common(port);
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
  made.envelope_.mutable_check_data();
  made.kind("mqtt_connect_check").set_common(port);
  return made;
}

host_settings host_settings::notification(std::uint16_t port, std::string_view target,
                                          std::string_view message) {
  host_settings made;
  auto& request = *made.envelope_.mutable_notification_request();
  made.kind("mqtt_notification").set_credentials();
  made.set("connection.host", "127.0.0.1");
  made.set("connection.port", std::to_string(port));
  made.set("connection.client_id", "notification");
  request.set_target(std::string(target));
  request.set_message(std::string(message));
  request.set_timeout_s(10);
  return made;
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
  set(joined(user_group, "active"), "yes");
  set(joined(user_group, "user"), name);
  return set(joined(user_group, "password"), password);
}

host_settings& host_settings::tls(std::string_view ca_pem) {
  set(joined(tls_group, "active"), "yes");
  set(joined(tls_group, "server_auth_active"), ca_pem.empty() ? "no" : "yes");
  return set(joined(tls_group, "ca_certificate"), ca_pem);
}

host_settings& host_settings::client_certificate(const certificate& client) {
  set(joined(tls_group, "client_auth_active"), "yes");
  set(joined(tls_group, "client_certificate"), client.pem);
  set(joined(tls_group, "client_key"), client.key_pem);
  return set(joined(tls_group, "client_key_password"), client.key_password);
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
  return set(joined(custom_group, name), value);
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
