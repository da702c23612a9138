#pragma once

#include "libi18n/i18n_msg.hpp"

/// The texts of all failures that the platform library raises; exceptions.hpp says who raises them.
namespace brunvik::monitoring_modules::libkavuhelper::utils::messages {

inline const libi18n::i18n_msg& sensor_registry() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.sensor_registry",
                                         "A sensor registry error occurred. %0:s"};
  return message;
}

inline const libi18n::i18n_msg& sensor_already_registered() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.sensor_already_registered",
                                         "Sensor with ID %0:s is already registered."};
  return message;
}

inline const libi18n::i18n_msg& sensor_not_in_sensor_stock() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.sensor_not_in_sensor_stock",
                                         "Sensor with ID %0:s is not in sensor list."};
  return message;
}

inline const libi18n::i18n_msg& notification_already_registered() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.notification_already_registered",
                                         "Notification with ID %0:s is already registered."};
  return message;
}

inline const libi18n::i18n_msg& service_container() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.service_container",
                                         "A service container error occurred. %0:s"};
  return message;
}

inline const libi18n::i18n_msg& already_contains_factory() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.already_contains_factory",
      "The factory store already contains a factory with type %0:s."};
  return message;
}

inline const libi18n::i18n_msg& factory_not_available() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.factory_not_available",
                                         "The factory store can't find a factory with type %0:s."};
  return message;
}

inline const libi18n::i18n_msg& already_contains_instance_key() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.already_contains_instance_key",
      "The instance store already contains an instance with type %0:s and key %1:s."};
  return message;
}

inline const libi18n::i18n_msg& instance_not_available_key() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.instance_not_available_key",
      "The instance store can't find an instance with type %0:s and key %1:s."};
  return message;
}

inline const libi18n::i18n_msg& already_contains_instance() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.already_contains_instance",
      "The instance store already contains an instance with type %0:s."};
  return message;
}

inline const libi18n::i18n_msg& instance_not_available() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.instance_not_available",
      "The instance store can't find an instance with type %0:s."};
  return message;
}

inline const libi18n::i18n_msg& initialization() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.initialization",
                                         "Initialization error. %0:s"};
  return message;
}

inline const libi18n::i18n_msg& channel_map_not_initialized() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.channel_map_not_initialized",
                                         "Channel map is not initialized."};
  return message;
}

inline const libi18n::i18n_msg& invalid_channel_mode() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.invalid_channel_mode",
      "set_value called with an %0:s value, but the channel's value mode is not %1:s."};
  return message;
}

inline const libi18n::i18n_msg& channel_already_defined() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.channel_already_defined",
                                         "Channel with ID %0:s and name %1:s is already defined."};
  return message;
}

inline const libi18n::i18n_msg& channel_not_defined() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.channel_not_defined",
                                         "Channel with ID %0:s is not defined."};
  return message;
}

inline const libi18n::i18n_msg& setting_not_available() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.setting_not_available",
                                         "The setting \"%0:s\" was not available."};
  return message;
}

inline const libi18n::i18n_msg& setting_selection_parse_error() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.setting_selection_parse_error",
      "Value \"%0:s\" could not be parsed into selection type \"%1:s\"."};
  return message;
}

inline const libi18n::i18n_msg& setting_invalid() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.setting_invalid",
                                         "Setting value %0:s is invalid. %1:s"};
  return message;
}

inline const libi18n::i18n_msg& setting_invalid_less_min() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.setting_invalid_less_min",
      "Setting value %0:s is less than the allowed value of %1:s."};
  return message;
}

inline const libi18n::i18n_msg& setting_invalid_bigger_max() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.setting_invalid_bigger_max",
      "Setting value %0:s is bigger than the allowed value of %1:s."};
  return message;
}

inline const libi18n::i18n_msg& string_too_long() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.string_too_long",
      "%0:s's value with length %1:s is longer than the maximum allowed length of %2:s."};
  return message;
}

inline const libi18n::i18n_msg& message_exception() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.message_exception",
                                         "A message error occurred. %0:s"};
  return message;
}

inline const libi18n::i18n_msg& message_serialization_failed() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.message_serialization_failed",
                                         "Could not serialize message to buffer."};
  return message;
}

inline const libi18n::i18n_msg& message_deserialization_failed() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.message_deserialization_failed",
                                         "Could not deserialize message type %0:s of size %1:s."};
  return message;
}

inline const libi18n::i18n_msg& message_too_long() {
  static const libi18n::i18n_msg message{
      "libkavuhelper.error.message_too_long",
      "The Message with size %0:s bytes is larger than the maximum allowed length of %1:s bytes."};
  return message;
}

inline const libi18n::i18n_msg& create_protobuf_from_json_failed() {
  static const libi18n::i18n_msg message{"libkavuhelper.error.create_protobuf_from_json_failed",
                                         "Failed to create protobuf message from JSON: %0:s"};
  return message;
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::utils::messages
