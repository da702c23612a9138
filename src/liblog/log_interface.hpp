#pragma once

#include <string>
#include <utility>

namespace brunvik::monitoring_modules::liblog {

/// Where log lines go. Severities are those of liblog/severity.hpp.
///
/// Every implementation is safe from all threads. [any-thread]
class log_interface {
 public:
  log_interface() = default;
  log_interface(const log_interface&) = delete;
  log_interface& operator=(const log_interface&) = delete;
  virtual ~log_interface() = default;

  virtual void log(int severity, const std::string& message) = 0;

  /// False when nobody would see a line of this severity, so that its text need not be built.
  /// Cheap enough to be asked once per message; a line may be logged without asking.
  [[nodiscard]] virtual bool enabled(int /*severity*/) const noexcept { return true; }
};

/// Logs the text that `make_text()` returns, and calls it only when somebody would see the line:
///
///     log_lazily(log, severity::debug, [&] { return "Received: " + payload; });
template <class MakeText>
void log_lazily(log_interface& log, int severity, MakeText&& make_text) {
  if (log.enabled(severity)) {
    log.log(severity, std::forward<MakeText>(make_text)());
  }
}

}  // namespace brunvik::monitoring_modules::liblog
