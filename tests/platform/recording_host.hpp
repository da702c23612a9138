#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "helpers/host_settings.hpp"
#include "helpers/module_inbox.hpp"
#include "kavuhelper/checks/check_base.hpp"
#include "kavuhelper/messaging/message_service.hpp"
#include "kavuhelper/module/log_registration.hpp"
#include "kavuhelper/module/sensor_dispatcher.hpp"
#include "kavuhelper/module/service_container.hpp"
#include "kavuhelper/sensors/sensor_base.hpp"

namespace kavu_test {

namespace lib = brunvik::monitoring_modules::libkavuhelper;

inline lib::settings::sensor_data_wrapper wrap(const host_settings& settings) {
  const std::string bytes = settings.serialize();
  return {bytes.data(), static_cast<unsigned int>(bytes.size())};
}

/// A dispatcher and what a module would give it, with everything that it tells its host kept.
struct recording_host {
  recording_host() {
    container->add_factory<lib::messaging::message_service_interface>([this] {
      return std::make_unique<lib::messaging::message_service>(
          [this](void* data, unsigned long size) {
            inbox.add(static_cast<const std::uint8_t*>(data), static_cast<std::uint32_t>(size));
          });
    });
    lib::module::register_runtime_log(container);
    lib::module::register_sensor_log(container);
  }

  module_inbox inbox;
  std::shared_ptr<lib::module::service_container> container =
      std::make_shared<lib::module::service_container>();
  lib::module::sensor_dispatcher dispatcher{container};
};

/// The one setting that the test's sensors and checks read.
struct host_name {
  explicit host_name(const lib::settings::sensor_data_wrapper& data)
      : text(data.get_value("host")) {}
  std::string text;
};

/// A sensor that does in its construction and in its scans what a test wants.
class scripted_sensor : public lib::sensors::sensor_base<host_name> {
 public:
  using step = std::function<void(scripted_sensor&)>;

  scripted_sensor(const lib::sensors::creation_context& context,
                  const lib::settings::sensor_data_wrapper& data, step build, step scan)
      : sensor_base(context, data), scan_(std::move(scan)) {
    if (build) {
      build(*this);
    }
  }

  /// Registers it under a name.
  static void offer(recording_host& host, const std::string& name, step scan, step build = {}) {
    host.dispatcher.register_sensor(name, [scan = std::move(scan), build = std::move(build)](
                                              const auto& context, lib::module::sensor_stock& stock,
                                              const auto& data) {
      stock.add_sensor(context.id, std::make_shared<scripted_sensor>(context, data, build, scan));
    });
  }

  using sensor_base::channels;
  using sensor_base::log_lazily;
  using sensor_base::logger;
  using sensor_base::make_result;
  using sensor_base::persistent_data;
  using sensor_base::report_creation_failure;
  using sensor_base::send;
  using sensor_base::send_persistent_data;

 protected:
  void work() override { scan_(*this); }

 private:
  step scan_;
};

inline host_settings sensor_named(std::string_view name) {
  return std::move(host_settings::statistics_sensor(1883, "#").kind(name));
}

}  // namespace kavu_test
