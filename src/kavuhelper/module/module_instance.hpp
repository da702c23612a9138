#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kavu/module_api.h"
#include "kavuhelper/module/sensor_dispatcher.hpp"
#include "kavuhelper/module/service_container.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// Receives the module's messages; see `include/kavu/module_api.h` for its rules.
using host_callback = kavu_host_callback;

/// Ties a module to its host: container, dispatcher, and the message service that reaches the
/// host's callback. A module derives from it and registers what it offers in its constructor.
class module_instance {
 public:
  /// The container then holds one factory, the message service's. Throws `initialization_error`
  /// without a callback.
  module_instance(std::uint64_t context, const host_callback& callback);

  /// Destroys the sensors, then the services. No message reaches the host once it has returned: it
  /// waits for a callback that is under way, and whoever still holds the message service sends
  /// into nothing.
  virtual ~module_instance();
  module_instance(const module_instance&) = delete;
  module_instance& operator=(const module_instance&) = delete;

  /// The module's definition document, one JSON object. [host-thread]
  [[nodiscard]] virtual std::string get_module_information() const = 0;

  [[nodiscard]] const std::shared_ptr<service_container>& get_service_container() const noexcept {
    return container_;
  }
  [[nodiscard]] const std::shared_ptr<sensor_dispatcher>& get_sensor_dispatcher() const noexcept {
    return dispatcher_;
  }

 private:
  class host_gate;

  const std::uint64_t context_;
  std::shared_ptr<service_container> container_;
  std::shared_ptr<sensor_dispatcher> dispatcher_;
  std::shared_ptr<host_gate> gate_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
