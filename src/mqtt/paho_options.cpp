#include "mqtt/paho_options.hpp"

#include <algorithm>

#include "liblog/severity.hpp"
#include "mqtt/client_key.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/numeric_address.hpp"
#include "mqtt/time_limits.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

constexpr std::int64_t longest_keep_alive = 65'535;  // two bytes on the wire
constexpr int any_number_in_flight = 65'535;

bool uses_tls(const mqtt_client_settings& settings) {
  return settings.tls.mode == tls_settings::tls_mode::on;
}

std::string_view when_tls(const mqtt_client_settings& settings, const std::string& text) {
  return uses_tls(settings) ? std::string_view(text) : std::string_view();
}

}  // namespace

std::string make_server_uri(const mqtt_client_settings& settings) {
  return (uses_tls(settings) ? "ssl://" : "tcp://") + settings.host + ":" +
         std::to_string(settings.port);
}

std::string make_plain_uri(const std::string& address, std::int64_t port) {
  return "tcp://" + with_brackets(address) + ":" + std::to_string(port);
}

void require_no_nul(const mqtt_client_settings& settings, const std::string& client_id) {
  const auto check = [](std::string_view text, const char* name) {
    if (text.find('\0') != std::string_view::npos) {
      throw exceptions::client_failure(std::string("The ") + name + " holds a NUL character.");
    }
  };
  check(settings.host, "host name");
  check(client_id, "client identifier");
  check(settings.user_name, "user name");
  check(settings.password.reveal(), "password");
  check(settings.tls.client_key_password.reveal(), "pass phrase of the client key");
}

MQTTAsync_createOptions make_create_options() {
  MQTTAsync_createOptions options = MQTTAsync_createOptions_initializer;
  options.sendWhileDisconnected = 0;
  options.maxBufferedMessages = 100;
  options.MQTTVersion = MQTTVERSION_3_1_1;
  options.allowDisconnectedSendAtAnyTime = 0;
  options.deleteOldestMessages = 0;
  options.restoreMessages = 1;
  options.persistQoS0 = 1;
  return options;
}

paho_options::paho_options(const mqtt_client_settings& settings, client_log& log)
    : connect(MQTTAsync_connectOptions_initializer),
      tls(MQTTAsync_SSLOptions_initializer),
      user_name_(settings.user_name),
      password_{std::string(settings.password.reveal())},
      client_key_password_{std::string(settings.tls.client_key_password.reveal())},
      ca_certificate_(when_tls(settings, settings.tls.ca_certificate)),
      client_certificate_(when_tls(settings, settings.tls.client_certificate)),
      client_key_(when_tls(settings, settings.tls.client_key)) {
  set_connection(settings);
  if (uses_tls(settings)) {
    set_tls(log);
  }
}

paho_options::wiped_text::~wiped_text() {
  libkavuhelper::settings::wipe(text);
}

void paho_options::set_connection(const mqtt_client_settings& settings) {
  connect.keepAliveInterval =
      static_cast<int>(std::clamp<std::int64_t>(settings.keep_alive, 0, longest_keep_alive));
  connect.cleansession = settings.clean_session ? 1 : 0;
  connect.maxInflight = any_number_in_flight;
  set_credentials();
  connect.connectTimeout =
      static_cast<int>(clamp_connect_timeout(settings.connect_timeout).count());
  connect.retryInterval = 0;
  connect.ssl = &tls;
  connect.MQTTVersion = MQTTVERSION_3_1_1;  // or what an attempt sets
  connect.automaticReconnect = 0;
  connect.minRetryInterval = 1;
  connect.maxRetryInterval = 60;
}

// Empty texts would be sent as they are, and some brokers that let everybody in refuse an empty
// user name. A password cannot go without a user name (MQTT 3.1.1, section 3.1.2.9).
void paho_options::set_credentials() {
  const bool has_password = !password_.text.empty();
  const bool has_user_name = has_password || !user_name_.empty();
  connect.username = has_user_name ? user_name_.c_str() : nullptr;
  connect.password = has_password ? password_.text.c_str() : nullptr;
}

void paho_options::set_tls(client_log& log) {
  namespace severity = liblog::severity;
  log.log(severity::debug, "Using TLS");
  if (ca_certificate_.name() != nullptr) {
    log.log(severity::debug, "Using CA certificate");
    tls.trustStore = ca_certificate_.name();
    tls.enableServerCertAuth = 1;
    tls.verify = 1;
  } else {
    log.log(severity::debug, "Do not verify server certificate ");
    tls.enableServerCertAuth = 0;
    tls.verify = 0;
  }
  if (client_certificate_.name() != nullptr) {
    log.log(severity::debug, "Using client certificate");
    tls.keyStore = client_certificate_.name();
    // Without one the library looks for the key in the certificate's own file.
    tls.privateKey = client_key_.name();
    // Without one, be it empty, somebody may be asked at the terminal.
    tls.privateKeyPassword = client_key_password_.text.c_str();
    require_readable_key(tls.privateKey != nullptr ? tls.privateKey : tls.keyStore,
                         client_key_password_.text);
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
