#pragma once

#include <cstdint>
#include <string>

#include "kavuhelper/module/module_instance.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// The one object of this module: it tells the container how to build what the sensors need, and
/// the dispatcher which sensors, check and notification service there are.
class KavuModuleMQTT final : public libkavuhelper::module::module_instance {
 public:
  KavuModuleMQTT(std::uint64_t context, const libkavuhelper::module::host_callback& callback);

  [[nodiscard]] std::string get_module_information() const override;

 private:
  void add_factories();
  void register_kinds();
};

}  // namespace brunvik::monitoring_modules::mqtt
