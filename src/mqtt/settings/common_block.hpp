#pragma once

#include <cstdint>
#include <string>

#include "kavuhelper/settings/secure_string.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

enum class logging_mode { disabled = 0, enabled = 1 };
enum class ip_version { ipv4 = 0, ipv6 = 1 };

/// What the host sends with every sensor and check, under bare keys.
struct common_block {
  /// Throws a setting failure for the first value that is missing or wrong.
  explicit common_block(const libkavuhelper::settings::sensor_data_wrapper& data);

  /// Name or address of the broker, IPv6 literals in brackets.
  std::string host;
  logging_mode logging;
  /// Seconds, 0 or more.
  std::int64_t timeout;
  libkavuhelper::settings::secure_string cloud_api_key;
  ip_version ipversion;
  /// Seconds between scans, 1 or more; 60 when the host does not say.
  std::int64_t interval = 60;
};

}  // namespace brunvik::monitoring_modules::mqtt::settings
