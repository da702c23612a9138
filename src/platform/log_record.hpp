#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "kavuhelper/messaging/kavu_message.hpp"

namespace brunvik::monitoring_modules::platform {

/// One line of a log on its way to the host, stamped with the time at which it was made.
class log_record : public libkavuhelper::messaging::kavu_message {
 public:
  /// Refers to `text`. Without an id it is a line of the module's own log.
  log_record(int severity, const std::string& text, std::optional<std::int32_t> sensor_id)
      : severity_(severity), text_(text), sensor_id_(sensor_id) {}

  [[nodiscard]] std::vector<std::uint8_t> serialize() const override;

 private:
  int severity_;
  const std::string& text_;
  std::optional<std::int32_t> sensor_id_;
  std::chrono::system_clock::time_point time_ = std::chrono::system_clock::now();
};

}  // namespace brunvik::monitoring_modules::platform
