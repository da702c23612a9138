#pragma once

#include <string>

#include "liblog/log_interface.hpp"

namespace brunvik::monitoring_modules::liblog {

/// Drops everything. [any-thread]
class null_logger : public log_interface {
 public:
  void log(int /*severity*/, const std::string& /*message*/) override {}
  [[nodiscard]] bool enabled(int /*severity*/) const noexcept override { return false; }
};

}  // namespace brunvik::monitoring_modules::liblog
