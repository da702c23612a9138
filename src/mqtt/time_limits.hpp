#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace brunvik::monitoring_modules::mqtt {

/// The connect time-out as the library can carry it: it multiplies seconds by 1,000 in an int, and
/// gives up at once at 0.
constexpr std::chrono::seconds clamp_connect_timeout(std::int64_t seconds) noexcept {
  return std::chrono::seconds(std::clamp<std::int64_t>(seconds, 1, 2'147'483));
}

/// How long making a client may take, the look for the reason of a failure included. The attempt
/// itself, whatever it consists of, ends with the time-out.
constexpr std::chrono::milliseconds longest_connecting(std::int64_t timeout_seconds) noexcept {
  return clamp_connect_timeout(timeout_seconds) + std::chrono::milliseconds(500);
}

/// How long a dead connection can go unnoticed (MQTT 3.1.1, section 3.1.2.10).
constexpr std::chrono::seconds longest_publishing(std::int64_t keep_alive_seconds) noexcept {
  return std::chrono::seconds(std::clamp<std::int64_t>(keep_alive_seconds, 1, 65'535) * 3 / 2 + 1);
}

}  // namespace brunvik::monitoring_modules::mqtt
