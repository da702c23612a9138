#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "mqtt/settings/common_block.hpp"
#include "mqtt/settings/credentials.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

/// A setting that is switched on or off.
enum class activation { disable = 0, enable = 1 };
/// What happens to the last message when no new one comes.
enum class last_message { dismiss = 0, retain = 1 };
enum class channel_type { absolute_integer = 0, absolute_float = 1, delta_counter = 2 };

/// One value that is taken from a message.
struct custom_channel {
  /// Empty for the first channel, which is always on.
  std::optional<activation> enabled;
  std::string jsonpath;
  std::string name;
  std::string unit;
  channel_type type = channel_type::absolute_float;
  double scale_factor = 1.0;

  [[nodiscard]] bool is_on() const noexcept { return !enabled || *enabled == activation::enable; }
};

/// Everything that the user has set for one custom subscription sensor. Read-only once built;
/// building it throws the setting failure of the first value that is missing or wrong, in switched
/// off channels as well: the host sends these with their defaults.
struct subscribe_custom_sensor {
  static constexpr std::size_t channel_count = 10;

  explicit subscribe_custom_sensor(const libkavuhelper::settings::sensor_data_wrapper& data);

  common_block common;
  user_credentials credentials;
  connection_mqtt connection;
  settings::tls tls;

  /// Channel N stands at N - 1.
  std::array<custom_channel, channel_count> channels;
  /// A topic filter.
  std::string topic;
  activation duration_since_last_message;
  last_message retain_last_message;
  /// JSONPath of the sensor's message; empty: none.
  std::string message_path;
};

}  // namespace brunvik::monitoring_modules::mqtt::settings
