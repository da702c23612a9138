#pragma once

#include <string>

#include "libi18n/i18n_exception.hpp"
#include "libi18n/messages.hpp"
#include "mqtt/messages.hpp"

/// Everything that can go wrong between a sensor and a broker.
///
/// Catch `mqtt_failure` to catch all of it, `client_failure` for what the MQTT library or the
/// broker reported. Each class carries one message that a user can read; which code of the library
/// becomes which class is said in failure_mapping.hpp.
namespace brunvik::monitoring_modules::mqtt::exceptions {

class mqtt_failure : public libi18n::_i18n_exception<libi18n::i18n_exception> {
 public:
  using _i18n_exception::_i18n_exception;
};

/// A failure that the MQTT library or the broker reported. On its own it is one without a class
/// of its own, and carries the library's words.
class client_failure : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  explicit client_failure(const std::string& library_text)
      : _i18n_exception(libi18n::make_msg(libi18n::messages::generic(), library_text)) {}

 protected:
  explicit client_failure(libi18n::i18n_msg message) : _i18n_exception(std::move(message)) {}
};

// Return codes of the MQTT library, refusals by the broker, and failures of the transport.

class mqttasync_0_len_will_topic : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_0_len_will_topic() : _i18n_exception(messages::mqttasync_0_len_will_topic()) {}
};

class mqttasync_wrong_mqtt_version : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_wrong_mqtt_version() : _i18n_exception(messages::mqttasync_wrong_mqtt_version()) {}
};

class mqttasync_bad_mqtt_option : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_bad_mqtt_option() : _i18n_exception(messages::mqttasync_bad_mqtt_option()) {}
};

class mqttasync_bad_protocol : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_bad_protocol() : _i18n_exception(messages::mqttasync_bad_protocol()) {}
};

class mqttasync_ssl_not_supported : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_ssl_not_supported() : _i18n_exception(messages::mqttasync_ssl_not_supported()) {}
};

class mqttasync_max_buffered_messages : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_max_buffered_messages()
      : _i18n_exception(messages::mqttasync_max_buffered_messages()) {}
};

class mqttasync_operation_incomplete : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_operation_incomplete() : _i18n_exception(messages::mqttasync_operation_incomplete()) {}
};

class mqttasync_no_more_msgids : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_no_more_msgids() : _i18n_exception(messages::mqttasync_no_more_msgids()) {}
};

class mqttasync_bad_qos : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_bad_qos() : _i18n_exception(messages::mqttasync_bad_qos()) {}
};

class mqttasync_bad_structure : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_bad_structure() : _i18n_exception(messages::mqttasync_bad_structure()) {}
};

class mqttasync_topicname_truncated : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_topicname_truncated() : _i18n_exception(messages::mqttasync_topicname_truncated()) {}
};

class mqttasync_null_parameter : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_null_parameter() : _i18n_exception(messages::mqttasync_null_parameter()) {}
};

class mqttasync_bad_utf8_string : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_bad_utf8_string() : _i18n_exception(messages::mqttasync_bad_utf8_string()) {}
};

class mqttasync_max_messages_inflight : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_max_messages_inflight()
      : _i18n_exception(messages::mqttasync_max_messages_inflight()) {}
};

class mqttasync_disconnected : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_disconnected() : _i18n_exception(messages::mqttasync_disconnected()) {}
};

class mqttasync_persistence_error : public libi18n::_i18n_exception<client_failure> {
 public:
  mqttasync_persistence_error() : _i18n_exception(messages::mqttasync_persistence_error()) {}
};

class unacceptable_protocol_version : public libi18n::_i18n_exception<client_failure> {
 public:
  unacceptable_protocol_version() : _i18n_exception(messages::unacceptable_protocol_version()) {}
};

class identifier_rejected : public libi18n::_i18n_exception<client_failure> {
 public:
  identifier_rejected() : _i18n_exception(messages::identifier_rejected()) {}
};

class server_unavailable : public libi18n::_i18n_exception<client_failure> {
 public:
  server_unavailable() : _i18n_exception(messages::server_unavailable()) {}
};

class bad_username_or_password : public libi18n::_i18n_exception<client_failure> {
 public:
  bad_username_or_password() : _i18n_exception(messages::bad_username_or_password()) {}
};

class not_authorized : public libi18n::_i18n_exception<client_failure> {
 public:
  not_authorized() : _i18n_exception(messages::not_authorized()) {}
};

class tcp_tls_connect_failure : public libi18n::_i18n_exception<client_failure> {
 public:
  tcp_tls_connect_failure() : _i18n_exception(messages::tcp_tls_connect_failure()) {}
};

class tcp_connection_timeout : public libi18n::_i18n_exception<client_failure> {
 public:
  tcp_connection_timeout() : _i18n_exception(messages::tcp_connection_timeout()) {}
};

// Raised by the client, its subscriptions, and the sensors.

class connection_lost : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  connection_lost() : _i18n_exception(messages::connection_lost()) {}
};

class could_not_publish_not_connected : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  could_not_publish_not_connected()
      : _i18n_exception(messages::could_not_publish_not_connected()) {}
};

class message_too_long : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  message_too_long() : _i18n_exception(messages::message_too_long()) {}
};

class payload_corrupted : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  payload_corrupted() : _i18n_exception(messages::payload_corrupted()) {}
};

class payload_empty : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  payload_empty() : _i18n_exception(messages::payload_empty()) {}
};

class server_authentication_activated_but_ca_is_empty
    : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  server_authentication_activated_but_ca_is_empty()
      : _i18n_exception(messages::server_authentication_activated_but_ca_is_empty()) {}
};

class client_authentication_activated_but_certificate_is_empty
    : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  client_authentication_activated_but_certificate_is_empty()
      : _i18n_exception(messages::client_authentication_activated_but_certificate_is_empty()) {}
};

class negative_values_not_supported_by_counter_channels
    : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  negative_values_not_supported_by_counter_channels()
      : _i18n_exception(messages::negative_values_not_supported_by_counter_channels()) {}
};

/// A topic or topic filter that is malformed or that MQTT cannot carry.
class invalid_topic : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  explicit invalid_topic(const std::string& filter)
      : _i18n_exception(libi18n::make_msg(messages::invalid_topic(), filter)) {}
};

/// Somebody did not answer in time; `detail` says who, and may be empty.
class timeout : public libi18n::_i18n_exception<mqtt_failure> {
 public:
  explicit timeout(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::timeout(), detail)) {}
};

}  // namespace brunvik::monitoring_modules::mqtt::exceptions
