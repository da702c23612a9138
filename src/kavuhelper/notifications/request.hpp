#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "kavuhelper/settings/sensor_data_wrapper.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::notifications {

/// One notification that the host wants to be sent. An immutable value.
class request {
 public:
  /// Throws `message_deserialization_failed` when the host's data are no notification request.
  explicit request(settings::sensor_data_wrapper data) : data_(std::move(data)) {
    data_.require(settings::sensor_data_wrapper::content_type::notification_request);
  }

  /// Where it goes. Any bytes.
  [[nodiscard]] const std::string& get_target() const noexcept { return data_.get_target(); }
  /// What it says. Any bytes, perhaps none.
  [[nodiscard]] const std::string& get_message() const noexcept { return data_.get_message(); }
  /// How long establishing the connection may take, in seconds, as the host sent it.
  [[nodiscard]] std::int64_t get_timeout_s() const noexcept { return data_.get_timeout_s(); }
  /// The connection's settings.
  [[nodiscard]] const settings::sensor_data_wrapper& get_settings() const noexcept { return data_; }

 private:
  settings::sensor_data_wrapper data_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::notifications
