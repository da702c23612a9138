#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kavuhelper/channels/dynamic_channel.hpp"
#include "kavuhelper/settings/secure_string.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"

namespace brunvik::monitoring_modules::platform {

/// What a buffer from the host holds, secrets apart from the rest.
struct sensor_data {
  using wrapper = libkavuhelper::settings::sensor_data_wrapper;

  wrapper::content_type type = wrapper::content_type::sensor_data;
  /// Bytes of the buffer.
  std::size_t size = 0;
  std::string kind;
  std::map<std::string, std::string, std::less<>> settings;
  std::map<std::string, libkavuhelper::settings::secure_string, std::less<>> secure_settings;
  std::vector<libkavuhelper::channels::dynamic_channel> channels;
  std::map<std::string, std::string> persistent_data;
  std::string target;
  std::string message;
  std::int64_t timeout_s = 0;
};

/// Throws `message_deserialization_failed`. What the reading itself copied of secrets is wiped.
[[nodiscard]] sensor_data read_sensor_data(const void* data, std::size_t size);

/// See `sensor_data_wrapper::to_json`.
[[nodiscard]] std::string to_masked_json(const sensor_data& data);

}  // namespace brunvik::monitoring_modules::platform
