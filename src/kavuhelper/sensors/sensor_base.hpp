#pragma once

#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "kavuhelper/messaging/message_service_interface.hpp"
#include "kavuhelper/messaging/persistent_data.hpp"
#include "kavuhelper/module/service_container.hpp"
#include "kavuhelper/responses/sensor_scan_result.hpp"
#include "kavuhelper/sensors/creation_context.hpp"
#include "kavuhelper/sensors/sensor_interface.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"
#include "kavuhelper/utils/version.hpp"
#include "libi18n/i18n_exception.hpp"
#include "liblog/log_interface.hpp"
#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::sensors {

/// What every sensor is built on: its settings, its log, its channels, and a scan that turns a
/// failure into a result.
///
/// `S` is the sensor's settings record; it is built from the host's data and then read-only. A
/// sensor `T` is registered with `sensor_dispatcher::register_sensor_as<T>` and needs a constructor
/// `T(const creation_context&, const settings::sensor_data_wrapper&)` that hands both on.
///
/// A sensor whose user has not asked for a log has none: `logger()` is empty then, and lines
/// written with `log_lazily` are not even built.
template <class S>
class sensor_base : public sensor_interface {
 public:
  using settings_type = S;

  /// Throws what building `S` throws, and what the log's factory throws.
  sensor_base(creation_context context, const settings::sensor_data_wrapper& data)
      : context_(std::move(context)), logger_(make_logger(context_)), settings_(data) {
    log_lazily([] { return "#################### Initializing ####################"; });
    log_lazily([] {
      return std::string(utils::library_name()) + " version is: " + utils::library_version();
    });
  }
  sensor_base(const sensor_base&) = delete;
  sensor_base& operator=(const sensor_base&) = delete;
  ~sensor_base() override {
    try {
      log_lazily([] { return "#################### Cleaning Up  ####################"; });
    } catch (...) {
      // A log that fails must not keep a sensor from going.
    }
  }

  [[nodiscard]] std::int32_t id() const noexcept final { return context_.id; }
  void log(const std::string& message) final { log(message, liblog::severity::debug); }
  void log(const std::string& message, int severity) final {
    if (logger_) {
      logger_->log(severity, message);
    }
  }

  /// Runs `work`, which sends its own result. A standard exception from it becomes an error result
  /// with the exception's message; any other goes on to the caller.
  void scan() final {
    log_lazily([] { return "#################### Enter sensor scan ####################"; });
    try {
      work();
    } catch (const libi18n::i18n_exception& failure) {
      send_failure(failure);
    } catch (const std::exception& failure) {
      send_failure(failure);
    }
    log_lazily([] { return "#################### Exit sensor scan  ####################"; });
  }

 protected:
  /// One scan of the sensor. Sends its result itself.
  virtual void work() = 0;

  [[nodiscard]] const S& settings() const noexcept { return settings_; }
  [[nodiscard]] const std::shared_ptr<module::service_container>& container() const noexcept {
    return context_.container;
  }
  /// The sensor's own log, for others to write to as well; empty when logging is off.
  [[nodiscard]] const std::shared_ptr<liblog::log_interface>& logger() const noexcept {
    return logger_;
  }
  [[nodiscard]] settings::channel_map& channels() noexcept { return *context_.channels; }
  [[nodiscard]] settings::persistent_data_storage& persistent_data() noexcept {
    return *context_.persistent_data;
  }

  /// Writes what `make_text` returns, which is called only when the line is wanted.
  template <class MakeText>
  void log_lazily(MakeText&& make_text, int severity = liblog::severity::debug) {
    if (logger_ && logger_->enabled(severity)) {
      logger_->log(severity, std::forward<MakeText>(make_text)());
    }
  }

  /// A result of this sensor without values yet.
  [[nodiscard]] responses::sensor_scan_result make_result() const {
    return {context_.id, context_.channels};
  }
  /// Hands a message to the host. [any-thread]
  void send(const messaging::kavu_message& message) {
    context_.container->get_or_create<messaging::message_service_interface>()->send(message);
  }
  /// Hands the host what has changed in `persistent_data()`; nothing when nothing has.
  void send_persistent_data() {
    if (auto changes = context_.persistent_data->take_changes(); !changes.empty()) {
      send(messaging::persistent_data(context_.id, std::move(changes)));
    }
  }
  /// Tells the host that this sensor cannot be created, as an error result, and keeps the
  /// dispatcher from telling it again. For constructors, which then let the failure go on.
  void report_creation_failure(const std::exception& failure) {
    send(responses::sensor_scan_result(context_.id, failure));
    context_.reported->store(true);
  }

 private:
  static std::shared_ptr<liblog::log_interface> make_logger(const creation_context& context) {
    return context.mode == creation_context::mode_logging
               ? context.container->create<liblog::log_interface>(context.id)
               : nullptr;
  }

  template <class Failure>
  void send_failure(const Failure& failure) {
    log_lazily([&failure] { return std::string(failure.what()); });
    responses::sensor_scan_result result(context_.id, failure);
    result.set_channel_map(context_.channels);
    result.set_error_code(0);
    result.set_response_code(responses::scan_response_codes::error);
    send(result);
  }

  const creation_context context_;
  const std::shared_ptr<liblog::log_interface> logger_;
  const S settings_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::sensors
