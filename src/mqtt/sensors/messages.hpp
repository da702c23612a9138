#pragma once

#include "libi18n/i18n_msg.hpp"

/// The names of the channels.
namespace brunvik::monitoring_modules::mqtt::messages {

inline const libi18n::i18n_msg& channel_round_trip_time() {
  static const libi18n::i18n_msg message{"channel.round_trip_time", "Round Trip Time"};
  return message;
}

inline const libi18n::i18n_msg& channel_publish_connection_time() {
  static const libi18n::i18n_msg message{"channel.publish_connection_time",
                                         "Publisher Connection Time"};
  return message;
}

inline const libi18n::i18n_msg& channel_subscribe_connection_time() {
  static const libi18n::i18n_msg message{"channel.subscribe_connection_time",
                                         "Subscriber Connection Time"};
  return message;
}

inline const libi18n::i18n_msg& channel_state() {
  static const libi18n::i18n_msg message{"channel.state", "Status"};
  return message;
}

inline const libi18n::i18n_msg& channel_count_messages_received() {
  static const libi18n::i18n_msg message{"channel.count_messages_received", "Messages Received"};
  return message;
}

inline const libi18n::i18n_msg& channel_bytes_payload_received() {
  static const libi18n::i18n_msg message{"channel.bytes_payload_received", "Payload Received"};
  return message;
}

inline const libi18n::i18n_msg& channel_active_topics() {
  static const libi18n::i18n_msg message{"channel.active_topics", "Active Topics"};
  return message;
}

inline const libi18n::i18n_msg& channel_duration_since_last_message() {
  static const libi18n::i18n_msg message{"channel.duration_since_last_message",
                                         "Time Since Last Message"};
  return message;
}

}  // namespace brunvik::monitoring_modules::mqtt::messages
