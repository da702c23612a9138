#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kavuhelper/responses/sensor_scan_result.hpp"
#include "kavuhelper/settings/persistent_data_storage.hpp"
#include "libtimeutils/time_text.hpp"
#include "mqtt/sensors/custom_channels.hpp"
#include "mqtt/settings/subscribe_custom_sensor.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// What the host keeps of a custom sensor: the time of its last message and its last result, and
/// for which topic, paths and types they are. What does not belong to the sensor as it is set now
/// is ignored, and so is what cannot be read; the log says so. Channel 0, the time since the last
/// message, is never kept. One thread at a time.
class custom_kept_values {
 public:
  using storage = libkavuhelper::settings::persistent_data_storage;
  using scan_result = libkavuhelper::responses::sensor_scan_result;

  /// Looks at what is there. `kept` must outlive this object; `log` is empty when nobody wants
  /// lines.
  custom_kept_values(storage& kept, const settings::subscribe_custom_sensor& settings,
                     log_function log);

  /// Of the last message; empty when nothing is known.
  [[nodiscard]] std::optional<libtimeutils::time_point> time() const;
  void set_time(libtimeutils::time_point time);

  [[nodiscard]] bool has_result() const;
  /// Whether the result that is kept has the same values, code and message.
  [[nodiscard]] bool holds(const scan_result& result) const;
  /// Fills a result of the sensor with the one that is kept, but for channel 0. False, and leaves
  /// it as it is, when there is none that can be read.
  bool restore(scan_result& result) const;
  void set_result(scan_result result);

 private:
  [[nodiscard]] static std::vector<std::uint8_t> serialize(scan_result result);
  [[nodiscard]] std::optional<std::string> get(const char* key) const;
  void forget(const char* key);
  void log(const std::string& line) const;

  storage& kept_;
  const std::string fingerprint_;
  const log_function log_;
};

}  // namespace brunvik::monitoring_modules::mqtt
