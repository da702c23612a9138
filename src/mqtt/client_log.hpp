#pragma once

#include <memory>
#include <string>

#include "liblog/log_interface.hpp"
#include "liblog/multiplex_logger.hpp"
#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// The log of one client: every line bears the client's identifier and goes to all logs that are
/// attached. A line that nobody wants is not built. [any-thread]
class client_log : public liblog::log_interface {
 public:
  explicit client_log(const std::string& client_id)
      : prefix_("MQTT Client - " + client_id + ": ") {}

  /// Held weakly; null is ignored.
  void attach(const std::shared_ptr<log_interface>& target, int level) {
    targets_->add(target, level);
  }
  void detach(const std::shared_ptr<log_interface>& target) { targets_->remove(target); }

  void log(int severity, const std::string& message) override {
    if (targets_->enabled(severity)) {
      targets_->log(severity, prefix_ + message);
    }
  }
  [[nodiscard]] bool enabled(int severity) const noexcept override {
    return targets_->enabled(severity);
  }

 private:
  std::string prefix_;
  std::shared_ptr<liblog::multiplex_logger> targets_ = std::make_shared<liblog::multiplex_logger>();
};

}  // namespace brunvik::monitoring_modules::mqtt
