#include "mqtt/sensors/mqtt_connect_check.hpp"

#include <chrono>
#include <memory>

#include "liblog/severity.hpp"
#include "mqtt/client_store.hpp"
#include "mqtt/sensors/client_settings.hpp"

namespace brunvik::monitoring_modules::mqtt {

namespace severity = liblog::severity;

void mqtt_connect_check::work() {
  using clock = std::chrono::steady_clock;
  auto began = clock::now();
  const auto elapsed_ms = [&began] {
    return std::to_string(
               std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - began)
                   .count()) +
           " ms";
  };
  libkavuhelper::responses::check_result result(id());
  // Goes after the host has been told: leaving the broker takes longer than reaching it.
  std::shared_ptr<mqtt_client_interface> client;
  try {
    auto client_settings = make_client_settings(settings(), shared_client_id);
    client_settings.logger = logger();
    log("Begin time tracking");
    began = clock::now();
    client = get_or_create_client(*container(), client_settings);
    log("End time tracking after " + elapsed_ms());
    result.set_success(client->is_connected());
  } catch (const std::exception& failure) {
    log("Exception after " + elapsed_ms());
    log(failure.what(), severity::emergency);
  }
  send_result(result);
}

}  // namespace brunvik::monitoring_modules::mqtt
