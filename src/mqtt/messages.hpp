#pragma once

#include "libi18n/i18n_msg.hpp"

/// The messages of the MQTT failures: one constant per key, shared by all who raise it.
namespace brunvik::monitoring_modules::mqtt::messages {

inline const libi18n::i18n_msg& mqttasync_0_len_will_topic() {
  static const libi18n::i18n_msg message{"error.mqttasync_0_len_will_topic", "0 length will topic"};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_wrong_mqtt_version() {
  static const libi18n::i18n_msg message{"error.mqttasync_wrong_mqtt_version",
                                         "Call not applicable to the client's version of MQTT"};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_bad_mqtt_option() {
  static const libi18n::i18n_msg message{"error.mqttasync_bad_mqtt_option",
                                         "Do not use options for a different version of MQTT"};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_bad_protocol() {
  static const libi18n::i18n_msg message{
      "error.mqttasync_bad_protocol",
      "Protocol prefix in serverURI should be tcp://, ssl://, ws://, or wss://."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_ssl_not_supported() {
  static const libi18n::i18n_msg message{
      "error.mqttasync_ssl_not_supported",
      "Attempting SSL connection using non-SSL version of library."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_max_buffered_messages() {
  static const libi18n::i18n_msg message{"error.mqttasync_max_buffered_messages",
                                         "No more messages can be buffered"};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_operation_incomplete() {
  static const libi18n::i18n_msg message{"error.mqttasync_operation_incomplete",
                                         "The request is being discarded when not complete"};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_no_more_msgids() {
  static const libi18n::i18n_msg message{"error.mqttasync_no_more_msgids",
                                         "All 65535 MQTT msgids are being used."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_bad_qos() {
  static const libi18n::i18n_msg message{"error.mqttasync_bad_qos",
                                         "A qos parameter is not 0, 1 or 2."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_bad_structure() {
  static const libi18n::i18n_msg message{
      "error.mqttasync_bad_structure",
      "A structure parameter does not have the correct eyecatcher and version number."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_topicname_truncated() {
  static const libi18n::i18n_msg message{
      "error.mqttasync_topicname_truncated",
      "The topic has been truncated (the topic string includes embedded NULL "
      "characters). String functions will not access the full topic. Use the topic "
      "length value to access the full topic."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_null_parameter() {
  static const libi18n::i18n_msg message{
      "error.mqttasync_null_parameter", "A NULL parameter has been supplied when this is invalid."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_bad_utf8_string() {
  static const libi18n::i18n_msg message{"error.mqttasync_bad_utf8_string",
                                         "An invalid UTF-8 string has been detected."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_max_messages_inflight() {
  static const libi18n::i18n_msg message{
      "error.mqttasync_max_messages_inflight",
      "The maximum number of messages allowed to be simultaneously in-flight has been "
      "reached."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_disconnected() {
  static const libi18n::i18n_msg message{"error.mqttasync_disconnected",
                                         "The client is disconnected."};
  return message;
}

inline const libi18n::i18n_msg& mqttasync_persistence_error() {
  static const libi18n::i18n_msg message{"error.mqttasync_persistence", "Persistence is futile"};
  return message;
}

inline const libi18n::i18n_msg& unacceptable_protocol_version() {
  static const libi18n::i18n_msg message{"error.unacceptable_protocol_version",
                                         "Unacceptable protocol version"};
  return message;
}

inline const libi18n::i18n_msg& identifier_rejected() {
  static const libi18n::i18n_msg message{"error.identifier_rejected", "Identifier rejected"};
  return message;
}

inline const libi18n::i18n_msg& server_unavailable() {
  static const libi18n::i18n_msg message{"error.server_unavailable", "Server unavailable"};
  return message;
}

inline const libi18n::i18n_msg& bad_username_or_password() {
  static const libi18n::i18n_msg message{
      "error.bad_username_or_password",
      "The sensor could not establish a connection to the MQTT broker (server). Check "
      "your credentials for MQTT."};
  return message;
}

inline const libi18n::i18n_msg& not_authorized() {
  static const libi18n::i18n_msg message{
      "error.not_authorized",
      "The sensor could not establish a connection to the MQTT broker (server). Check "
      "your credentials for MQTT."};
  return message;
}

inline const libi18n::i18n_msg& tcp_tls_connect_failure() {
  static const libi18n::i18n_msg message{"error.tcp_tls_connect_failure",
                                         "TCP/TLS connect failure"};
  return message;
}

inline const libi18n::i18n_msg& tcp_connection_timeout() {
  static const libi18n::i18n_msg message{"error.tcp_connection_timeout", "TCP connect timeout"};
  return message;
}

inline const libi18n::i18n_msg& connection_lost() {
  static const libi18n::i18n_msg message{"error.connection_lost",
                                         "The connection to the MQTT broker (server) was lost."};
  return message;
}

inline const libi18n::i18n_msg& could_not_publish_not_connected() {
  static const libi18n::i18n_msg message{"error.could_not_publish_not_connected",
                                         "Could not publish - not connected."};
  return message;
}

inline const libi18n::i18n_msg& message_too_long() {
  static const libi18n::i18n_msg message{"error.message_too_long", "Message too long."};
  return message;
}

inline const libi18n::i18n_msg& invalid_topic() {
  static const libi18n::i18n_msg message{
      "error.invalid_topic",
      "The provided topic '%0:s' is invalid. Enter a valid topic in the settings of the"
      " sensor."};
  return message;
}

inline const libi18n::i18n_msg& timeout() {
  static const libi18n::i18n_msg message{"error.timeout", "Timeout. %0:s"};
  return message;
}

inline const libi18n::i18n_msg& payload_corrupted() {
  static const libi18n::i18n_msg message{"error.payload_corrupted", "The payload is corrupted."};
  return message;
}

inline const libi18n::i18n_msg& payload_empty() {
  static const libi18n::i18n_msg message{"error.payload_empty", "The received payload is empty."};
  return message;
}

inline const libi18n::i18n_msg& server_authentication_activated_but_ca_is_empty() {
  static const libi18n::i18n_msg message{
      "error.server_authentication_activated_but_ca_is_empty",
      "Server Authentification is activated, but CA certificate is empty."};
  return message;
}

inline const libi18n::i18n_msg& client_authentication_activated_but_certificate_is_empty() {
  static const libi18n::i18n_msg message{
      "error.client_authentication_activated_but_certificate_is_empty",
      "Client Authentification is activated, but client certificate is empty."};
  return message;
}

inline const libi18n::i18n_msg& negative_values_not_supported_by_counter_channels() {
  static const libi18n::i18n_msg message{"error.negative_values_not_supported_by_counter_channels",
                                         "Negative values are not supported by counter channels."};
  return message;
}

}  // namespace brunvik::monitoring_modules::mqtt::messages
