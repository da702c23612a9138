#include "mqtt/mqtt_client_settings.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

/// Folds one hash into another; the order of folding matters.
class hash_combiner {
 public:
  void add(std::uint64_t hash) { seed_ ^= hash + 0x9e3779b9U + (seed_ << 6U) + (seed_ >> 2U); }
  void add(const std::string& text) { add(std::hash<std::string>{}(text)); }
  void add(const libkavuhelper::settings::secure_string& text) {
    add(std::hash<std::string_view>{}(text.reveal()));
  }

  [[nodiscard]] std::uint64_t value() const { return seed_; }

 private:
  std::uint64_t seed_ = 0;
};

std::uint64_t hash_connection(const mqtt_client_settings& settings) {
  hash_combiner combiner;
  combiner.add(settings.host);
  combiner.add(static_cast<std::uint64_t>(settings.port));
  combiner.add(settings.client_id);
  combiner.add(std::uint64_t{settings.client_id_suffix_length});
  combiner.add(settings.user_name);
  combiner.add(settings.password);
  return combiner.value();
}

std::uint64_t hash_session(const mqtt_client_settings& settings) {
  hash_combiner combiner;
  combiner.add(static_cast<std::uint64_t>(settings.keep_alive));
  combiner.add(std::uint64_t{settings.clean_session});
  combiner.add(std::uint64_t{settings.automatic_reconnect});
  return combiner.value();
}

std::uint64_t hash_tls(const tls_settings& tls) {
  hash_combiner combiner;
  combiner.add(static_cast<std::uint64_t>(tls.mode));
  combiner.add(tls.ca_certificate);
  combiner.add(tls.client_certificate);
  combiner.add(tls.client_key);
  combiner.add(tls.client_key_password);
  return combiner.value();
}

}  // namespace

bool tls_settings::operator==(const tls_settings& other) const {
  return mode == other.mode && ca_certificate == other.ca_certificate &&
         client_certificate == other.client_certificate && client_key == other.client_key &&
         client_key_password == other.client_key_password;
}

bool mqtt_client_settings::operator==(const mqtt_client_settings& other) const {
  return host == other.host && port == other.port && client_id == other.client_id &&
         client_id_suffix_length == other.client_id_suffix_length && user_name == other.user_name &&
         password == other.password && keep_alive == other.keep_alive &&
         clean_session == other.clean_session && automatic_reconnect == other.automatic_reconnect &&
         tls == other.tls && family == other.family;
}

}  // namespace brunvik::monitoring_modules::mqtt

std::size_t std::hash<brunvik::monitoring_modules::mqtt::mqtt_client_settings>::operator()(
    const brunvik::monitoring_modules::mqtt::mqtt_client_settings& settings) const {
  using namespace brunvik::monitoring_modules::mqtt;
  hash_combiner combiner;
  combiner.add(hash_connection(settings));
  combiner.add(hash_session(settings));
  combiner.add(hash_tls(settings.tls));
  return combiner.value();
}
