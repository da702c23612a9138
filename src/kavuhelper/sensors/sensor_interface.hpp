#pragma once

#include <cstdint>
#include <string>

namespace brunvik::monitoring_modules::libkavuhelper::sensors {

/// A sensor as the dispatcher sees it. The order of the operations is part of the interface.
class sensor_interface {
 public:
  virtual ~sensor_interface();

  /// The id that the host gave it.
  [[nodiscard]] virtual std::int32_t id() const noexcept = 0;

  /// Writes a line to the sensor's own log, at severity 7. [any-thread]
  virtual void log(const std::string& message) = 0;
  virtual void log(const std::string& message, int severity) = 0;

  /// Runs one scan; its result is with the host when this returns. Never runs twice at once for
  /// one sensor. [host-thread]
  virtual void scan() = 0;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::sensors
