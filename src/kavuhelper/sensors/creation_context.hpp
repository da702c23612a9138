#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "kavuhelper/settings/channel_map.hpp"
#include "kavuhelper/settings/persistent_data_storage.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {
class service_container;
}

namespace brunvik::monitoring_modules::libkavuhelper::sensors {

/// What the dispatcher gives a sensor or a check to start with. Copies share what it points to.
struct creation_context {
  /// Value of `mode` for a sensor or check that writes a log of its own.
  static constexpr int mode_logging = 1;

  std::shared_ptr<module::service_container> container;
  std::int32_t id = 0;
  /// The name under which the class was registered.
  std::string kind;
  int mode = 0;
  std::shared_ptr<settings::channel_map> channels = std::make_shared<settings::channel_map>();
  std::shared_ptr<settings::persistent_data_storage> persistent_data =
      std::make_shared<settings::persistent_data_storage>();
  /// Set when the host has been told the outcome, so that the dispatcher need not: it tells the
  /// host of every creation that fails, but only once.
  std::shared_ptr<std::atomic<bool>> reported = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::sensors
