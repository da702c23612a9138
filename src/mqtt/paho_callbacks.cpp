#include "mqtt/paho_callbacks.hpp"

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "liblog/severity.hpp"
#include "mqtt/failure_mapping.hpp"

namespace brunvik::monitoring_modules::mqtt {

namespace severity = liblog::severity;

namespace {

constexpr int unacceptable_protocol_version = 1;  // MQTT 3.1.1, section 3.2.2.3

/// Whether the broker may have closed the connection instead of answering, as those may that do not
/// know the protocol's name (MQTT 3.1.1, section 3.1.2.1). The library has the same words for a
/// connection that was refused on its way.
bool may_be_closed_by_broker(std::string_view text) {
  return text == "socket error" || text == "TCP connect completion failure";
}

}  // namespace

// A broker that has taken the newer version once is merely coming or going when it closes.
void paho_connection::doubt_version(int code, std::string_view text) noexcept {
  version_in_doubt_ = version_ == protocol::mqtt_3_1_1 &&
                      (code == unacceptable_protocol_version ||
                       (!newer_version_works_ && may_be_closed_by_broker(text)));
}

/// Marks an event as running for as long as it lives, and says whether it may.
class paho_connection::callbacks::running_event {
 public:
  explicit running_event(void* context) : connection(*static_cast<paho_connection*>(context)) {
    ++connection.callbacks_running_;
  }
  ~running_event() { --connection.callbacks_running_; }
  running_event(const running_event&) = delete;
  running_event& operator=(const running_event&) = delete;
  [[nodiscard]] bool is_wanted() const noexcept { return !connection.closing_; }

  paho_connection& connection;
};

void paho_connection::callbacks::connect_success(void* context, MQTTAsync_successData* data) {
  const running_event event(context);
  if (!event.is_wanted()) {
    return;
  }
  event.connection.connected_ = true;
  if (event.connection.version_ == protocol::mqtt_3_1_1) {
    event.connection.newer_version_works_ = true;
  }
  event.connection.events_.on_connect_success(event.connection.server_uri_,
                                              data == nullptr ? 0 : data->alt.connect.MQTTVersion);
}

void paho_connection::callbacks::connect_failure(void* context, MQTTAsync_failureData* data) {
  const running_event event(context);
  if (!event.is_wanted()) {
    return;
  }
  const int code = data == nullptr ? -1 : data->code;
  const char* text = data == nullptr ? nullptr : data->message;
  event.connection.ended_ = std::chrono::steady_clock::now();
  event.connection.refused_ = code > 0;
  event.connection.doubt_version(code, text == nullptr ? "" : text);
  event.connection.unexplained_ = code <= 0;
  event.connection.events_.on_connect_failure(make_exception_from_code(code, text));
}

void paho_connection::callbacks::connection_lost(void* context, char* cause) {
  const running_event event(context);
  event.connection.lose(cause == nullptr ? "" : cause);
}

void paho_connection::callbacks::connected(void* context, char* cause) {
  const running_event event(context);
  if (event.is_wanted()) {
    event.connection.connected_ = true;
    event.connection.events_.on_connected(cause == nullptr ? "" : cause);
  }
}

int paho_connection::callbacks::message_arrived(void* context, char* topic, int topic_length,
                                                MQTTAsync_message* message) {
  const running_event event(context);
  if (event.is_wanted()) {
    deliver(event.connection, topic, topic_length, message);
  }
  if (message != nullptr) {
    MQTTAsync_freeMessage(&message);
  }
  MQTTAsync_free(topic);
  return 1;
}

// A length of 0 means that the topic ends at its NUL.
void paho_connection::callbacks::deliver(paho_connection& connection, const char* topic,
                                         int topic_length,
                                         const MQTTAsync_message* message) noexcept try {
  const std::size_t length =
      topic_length > 0 ? static_cast<std::size_t>(topic_length) : std::strlen(topic);
  if (message == nullptr) {
    connection.log_->log(severity::debug,
                         "Received empty message on topic: " + std::string(topic, length));
    return;
  }
  auto received = std::make_shared<received_message>();
  received->topic.assign(topic, length);
  if (message->payloadlen > 0) {
    received->payload.assign(static_cast<const char*>(message->payload),
                             static_cast<std::size_t>(message->payloadlen));
  }
  received->retained = message->retained != 0;
  connection.events_.on_message(std::move(received));
} catch (const std::exception& failure) {
  connection.log_->log(severity::warning,
                       std::string("Exception in on_message_arrived: ") + failure.what());
} catch (...) {
  connection.log_->log(severity::warning, "Undefined exception in on_message_arrived");
}

int paho_connection::callbacks::tls_error(const char* text, std::size_t length, void* context) {
  const running_event event(context);
  if (event.is_wanted() && text != nullptr) {
    event.connection.remember_tls_error(std::string(text, strnlen(text, length)));
  }
  return 1;
}

}  // namespace brunvik::monitoring_modules::mqtt
