#pragma once

#include <cstdint>
#include <string>

namespace brunvik::monitoring_modules::libkavuhelper::checks {

/// A check as the dispatcher sees it. The order of the operations is part of the interface; the
/// two logs stand the other way round than a sensor's.
class check_interface {
 public:
  virtual ~check_interface();

  /// The id that the host gave it.
  [[nodiscard]] virtual std::int32_t id() const noexcept = 0;

  /// Writes a line to the check's own log. [any-thread]
  virtual void log(const std::string& message, int severity) = 0;
  /// The same at severity 7.
  virtual void log(const std::string& message) = 0;

  /// Runs the check once; its result is with the host when this returns. [host-thread]
  virtual void work() = 0;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::checks
