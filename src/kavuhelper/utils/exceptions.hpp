#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "kavuhelper/utils/messages.hpp"
#include "libi18n/i18n_exception.hpp"
#include "libi18n/i18n_msg.hpp"

/// Everything that the platform library raises, by area. Catch `exception` to catch all of it.
///
/// The classes live in the header on purpose: a module and the library each have their own copy,
/// and a failure thrown by one is caught in the other because types are compared by name.
namespace brunvik::monitoring_modules::libkavuhelper::utils::exceptions {

class exception : public libi18n::_i18n_exception<libi18n::i18n_exception> {
 public:
  using _i18n_exception::_i18n_exception;
};

// The service container. The names are those of types, as `type_name` gives them.

class service_container_error : public libi18n::_i18n_exception<exception> {
 public:
  explicit service_container_error(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::service_container(), detail)) {}

 protected:
  explicit service_container_error(libi18n::i18n_msg message)
      : _i18n_exception(std::move(message)) {}
};

class already_contains_factory : public libi18n::_i18n_exception<service_container_error> {
 public:
  explicit already_contains_factory(const std::string& factory)
      : _i18n_exception(libi18n::make_msg(messages::already_contains_factory(), factory)) {}
};

class factory_not_available : public libi18n::_i18n_exception<service_container_error> {
 public:
  explicit factory_not_available(const std::string& factory)
      : _i18n_exception(libi18n::make_msg(messages::factory_not_available(), factory)) {}
};

class already_contains_instance : public libi18n::_i18n_exception<service_container_error> {
 public:
  explicit already_contains_instance(const std::string& interface)
      : _i18n_exception(libi18n::make_msg(messages::already_contains_instance(), interface)) {}
};

class instance_not_available : public libi18n::_i18n_exception<service_container_error> {
 public:
  explicit instance_not_available(const std::string& interface)
      : _i18n_exception(libi18n::make_msg(messages::instance_not_available(), interface)) {}
};

/// Names the key's type, never its value: a key may hold a password.
class already_contains_instance_key : public libi18n::_i18n_exception<service_container_error> {
 public:
  already_contains_instance_key(const std::string& interface, const std::string& key)
      : _i18n_exception(
            libi18n::make_msg(messages::already_contains_instance_key(), interface, key)) {}
};

/// Names the key's type, never its value: a key may hold a password.
class instance_not_available_key : public libi18n::_i18n_exception<service_container_error> {
 public:
  instance_not_available_key(const std::string& interface, const std::string& key)
      : _i18n_exception(libi18n::make_msg(messages::instance_not_available_key(), interface, key)) {
  }
};

/// Somebody else is still building the instance when the caller's patience ends.
class build_wait_expired : public libi18n::_i18n_exception<service_container_error> {
 public:
  explicit build_wait_expired(const std::string& interface)
      : _i18n_exception(
            libi18n::make_msg(messages::service_container(),
                              "An instance with type " + interface + " is still being built.")) {}
};

// Sensors, checks and notification services of the dispatcher.

class sensor_registry_error : public libi18n::_i18n_exception<exception> {
 public:
  explicit sensor_registry_error(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::sensor_registry(), detail)) {}

 protected:
  explicit sensor_registry_error(libi18n::i18n_msg message) : _i18n_exception(std::move(message)) {}
};

class sensor_already_registered : public libi18n::_i18n_exception<sensor_registry_error> {
 public:
  explicit sensor_already_registered(std::int32_t id)
      : _i18n_exception(
            libi18n::make_msg(messages::sensor_already_registered(), std::to_string(id))) {}
};

class sensor_not_in_sensor_stock : public libi18n::_i18n_exception<sensor_registry_error> {
 public:
  explicit sensor_not_in_sensor_stock(std::int32_t id)
      : _i18n_exception(
            libi18n::make_msg(messages::sensor_not_in_sensor_stock(), std::to_string(id))) {}
};

class notification_already_registered : public libi18n::_i18n_exception<sensor_registry_error> {
 public:
  explicit notification_already_registered(const std::string& name)
      : _i18n_exception(libi18n::make_msg(messages::notification_already_registered(), name)) {}
};

// Something was used before it was ready.

class initialization_error : public libi18n::_i18n_exception<exception> {
 public:
  explicit initialization_error(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::initialization(), detail)) {}

 protected:
  explicit initialization_error(libi18n::i18n_msg message) : _i18n_exception(std::move(message)) {}
};

class channel_map_not_initialized : public libi18n::_i18n_exception<initialization_error> {
 public:
  channel_map_not_initialized() : _i18n_exception(messages::channel_map_not_initialized()) {}
};

// Channels and their values.

/// The value is not of the channel's kind; both words name a kind of value.
class invalid_channel_mode : public libi18n::_i18n_exception<exception> {
 public:
  invalid_channel_mode(const std::string& given, const std::string& required)
      : _i18n_exception(libi18n::make_msg(messages::invalid_channel_mode(), given, required)) {}
};

class channel_already_defined : public libi18n::_i18n_exception<exception> {
 public:
  channel_already_defined(std::int32_t id, const std::string& name)
      : _i18n_exception(
            libi18n::make_msg(messages::channel_already_defined(), std::to_string(id), name)) {}
};

class channel_not_defined : public libi18n::_i18n_exception<exception> {
 public:
  explicit channel_not_defined(std::int32_t id)
      : _i18n_exception(libi18n::make_msg(messages::channel_not_defined(), std::to_string(id))) {}
};

// Settings. None of them is ever given a secure value.

class setting_not_available : public libi18n::_i18n_exception<exception> {
 public:
  explicit setting_not_available(const std::string& key)
      : _i18n_exception(libi18n::make_msg(messages::setting_not_available(), key)) {}
};

class setting_selection_parse_error : public libi18n::_i18n_exception<exception> {
 public:
  setting_selection_parse_error(const std::string& value, const std::string& selection)
      : _i18n_exception(
            libi18n::make_msg(messages::setting_selection_parse_error(), value, selection)) {}
};

class setting_invalid : public libi18n::_i18n_exception<exception> {
 public:
  setting_invalid(const std::string& value, const std::string& reason)
      : _i18n_exception(libi18n::make_msg(messages::setting_invalid(), value, reason)) {}
};

class setting_invalid_less_min : public libi18n::_i18n_exception<exception> {
 public:
  setting_invalid_less_min(const std::string& value, const std::string& minimum)
      : _i18n_exception(libi18n::make_msg(messages::setting_invalid_less_min(), value, minimum)) {}
};

class setting_invalid_bigger_max : public libi18n::_i18n_exception<exception> {
 public:
  setting_invalid_bigger_max(const std::string& value, const std::string& maximum)
      : _i18n_exception(libi18n::make_msg(messages::setting_invalid_bigger_max(), value, maximum)) {
  }
};

/// Lengths are in bytes.
class string_too_long : public libi18n::_i18n_exception<exception> {
 public:
  string_too_long(const std::string& what, const std::string& length, const std::string& maximum)
      : _i18n_exception(libi18n::make_msg(messages::string_too_long(), what, length, maximum)) {}
};

// Messages from and to the host. Sizes are in bytes.

class message_exception : public libi18n::_i18n_exception<exception> {
 public:
  explicit message_exception(const std::string& detail)
      : _i18n_exception(libi18n::make_msg(messages::message_exception(), detail)) {}

 protected:
  explicit message_exception(libi18n::i18n_msg message) : _i18n_exception(std::move(message)) {}
};

class message_serialization_failed : public libi18n::_i18n_exception<message_exception> {
 public:
  message_serialization_failed() : _i18n_exception(messages::message_serialization_failed()) {}
};

class message_deserialization_failed : public libi18n::_i18n_exception<message_exception> {
 public:
  message_deserialization_failed(const std::string& type, std::size_t size)
      : _i18n_exception(libi18n::make_msg(messages::message_deserialization_failed(), type,
                                          std::to_string(size))) {}
};

class message_too_long : public libi18n::_i18n_exception<message_exception> {
 public:
  message_too_long(std::size_t size, std::size_t maximum)
      : _i18n_exception(libi18n::make_msg(messages::message_too_long(), std::to_string(size),
                                          std::to_string(maximum))) {}
};

class create_protobuf_from_json_failed : public libi18n::_i18n_exception<message_exception> {
 public:
  explicit create_protobuf_from_json_failed(const std::string& reason)
      : _i18n_exception(libi18n::make_msg(messages::create_protobuf_from_json_failed(), reason)) {}
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::utils::exceptions
