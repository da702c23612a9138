#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "kavuhelper/checks/check_interface.hpp"
#include "kavuhelper/messaging/kavu_message.hpp"
#include "kavuhelper/module/sensor_stock.hpp"
#include "kavuhelper/module/service_container.hpp"
#include "kavuhelper/notifications/service_interface.hpp"
#include "kavuhelper/sensors/creation_context.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"
#include "liblog/log_interface.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// What the dispatcher's operations return.
enum dispatcher_result : int {
  dispatcher_done = 0,
  /// No sensor, check or notification service is registered under the name.
  dispatcher_unknown_kind = 4,
  /// The id has a sensor, or one is being created or destroyed under it.
  dispatcher_id_in_use = 5,
  /// The id has no sensor, or one that is only being created.
  dispatcher_unknown_id = 6,
  dispatcher_unknown_meta_scan = 7,
};

/// Creates, keeps and runs what the module has registered by name.
///
/// Registering belongs to the module's construction and takes no lock. Everything else may be
/// called from several threads at once: scans of different sensors run side by side, those of one
/// sensor one after the other, and destroying a sensor waits for its own scan only. No lock of the
/// dispatcher is held while code of a sensor, check or notification service runs, but for the one
/// that serialises a sensor's own scans.
///
/// Results reach the host through the message service. Exceptions reach the caller.
class sensor_dispatcher {
 public:
  /// Builds a sensor and puts it into the stock.
  using sensor_creation = std::function<void(const sensors::creation_context&, sensor_stock&,
                                             const settings::sensor_data_wrapper&)>;
  using check_creation = std::function<std::unique_ptr<checks::check_interface>(
      const sensors::creation_context&, const settings::sensor_data_wrapper&)>;
  using notification_creation = std::function<std::unique_ptr<notifications::service_interface>(
      const std::shared_ptr<service_container>&, const std::shared_ptr<liblog::log_interface>&)>;

  /// Value of `execute_meta_scan` whose data are a notification request.
  static constexpr unsigned int notification_meta_scan = 1;

  /// Throws `initialization_error` for a null container.
  explicit sensor_dispatcher(std::shared_ptr<service_container> container);
  /// Destroys all sensors and the notification services. Nobody may be calling.
  ~sensor_dispatcher();
  sensor_dispatcher(const sensor_dispatcher&) = delete;
  sensor_dispatcher& operator=(const sensor_dispatcher&) = delete;

  /// Registers the sensor class `T`, see `sensors::sensor_base`. Of two under one name the first
  /// stays.
  template <class T>
  void register_sensor_as(const std::string& name) {
    register_sensor(name, [](const sensors::creation_context& context, sensor_stock& stock,
                             const settings::sensor_data_wrapper& data) {
      stock.add_sensor(context.id, std::make_shared<T>(context, data));
    });
  }
  /// Registers the check class `T`, see `checks::check_base`. Of two under one name the first
  /// stays.
  template <class T>
  void register_check_as(const std::string& name) {
    register_check(name, [](const sensors::creation_context& context,
                            const settings::sensor_data_wrapper& data) {
      return std::make_unique<T>(context, data);
    });
  }
  /// Registers the notification service `T`, which is built at its first request from a share of
  /// the container and the module's log (perhaps null):
  /// `T(std::shared_ptr<service_container>, std::shared_ptr<liblog::log_interface>)`.
  /// Throws `notification_already_registered` when the name has one.
  template <class T>
  void register_notification_as(const std::string& name) {
    register_notification(name, [](const std::shared_ptr<service_container>& container,
                                   const std::shared_ptr<liblog::log_interface>& logger) {
      return std::make_unique<T>(container, logger);
    });
  }
  void register_sensor(const std::string& name, sensor_creation create);
  void register_check(const std::string& name, check_creation create);
  void register_notification(const std::string& name, notification_creation create);

  /// Creates the sensor that the data name. Done, unknown kind, or id in use. When it cannot be
  /// built the host gets exactly one error result, the id is free again, and the failure goes on.
  /// Data that are not a sensor's are unreadable: `message_deserialization_failed`, nothing sent.
  int create_sensor_instance(std::int32_t id, const settings::sensor_data_wrapper& data);

  /// Runs one scan on the calling thread. Done (also when the scan failed and said so in its
  /// result) or unknown id. Exceptions that are not standard ones go on.
  int execute_sensor_scan(std::int32_t id);

  /// Done or unknown id.
  int destroy_sensor_instance(std::int32_t id);

  /// Value 1 sends the notification that the data ask for and answers with a response that echoes
  /// the id: done, also when that failed and the response says so; or unknown kind. Other values:
  /// unknown meta scan.
  int execute_meta_scan(std::int32_t id, unsigned int value,
                        const settings::sensor_data_wrapper& data);

  /// Runs the check that the data name. Done or unknown kind. When it cannot be built, or throws
  /// before it has sent a result, the host gets an unsuccessful one, and the failure goes on.
  int execute_check(std::int32_t id, const settings::sensor_data_wrapper& data);

 private:
  class notification_slot;

  void send(const messaging::kavu_message& message) const;
  [[nodiscard]] sensors::creation_context make_context(
      std::int32_t id, const settings::sensor_data_wrapper& data) const;

  const std::shared_ptr<service_container> container_;
  // Fixed once the module has been built.
  std::unordered_map<std::string, sensor_creation> sensors_;
  std::unordered_map<std::string, check_creation> checks_;
  std::unordered_map<std::string, std::unique_ptr<notification_slot>> notifications_;
  sensor_stock stock_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
