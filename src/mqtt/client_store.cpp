#include "mqtt/client_store.hpp"

#include <chrono>

#include "kavuhelper/utils/exceptions.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/time_limits.hpp"

namespace brunvik::monitoring_modules::mqtt {

std::shared_ptr<mqtt_client_interface> get_or_create_client(
    libkavuhelper::module::service_container& container, const mqtt_client_settings& settings) {
  mqtt_client_settings key = settings;
  key.logger.reset();  // the container must not keep a sensor's log alive
  const auto build = [&] { return container.create<mqtt_client_interface>(settings); };
  try {
    return container.get_or_build<mqtt_client_interface>(
        key, build, longest_connecting(settings.connect_timeout));
  } catch (const libkavuhelper::utils::exceptions::build_wait_expired&) {
    throw exceptions::tcp_connection_timeout();
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
