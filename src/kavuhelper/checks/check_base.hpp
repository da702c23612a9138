#pragma once

#include <memory>
#include <string>
#include <utility>

#include "kavuhelper/checks/check_interface.hpp"
#include "kavuhelper/messaging/message_service_interface.hpp"
#include "kavuhelper/module/service_container.hpp"
#include "kavuhelper/responses/check_result.hpp"
#include "kavuhelper/sensors/creation_context.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"
#include "liblog/log_interface.hpp"
#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::checks {

/// What every check is built on: its settings and its log.
///
/// `S` is the check's settings record. A check `T` is registered with
/// `sensor_dispatcher::register_check_as<T>` and needs a constructor
/// `T(const sensors::creation_context&, const settings::sensor_data_wrapper&)`.
///
/// `work` reports with `send_result`. What it throws goes on to the host's caller, and the
/// dispatcher sends an unsuccessful result unless one has been sent.
template <class S>
class check_base : public check_interface {
 public:
  using settings_type = S;

  /// Throws what building `S` throws, and what the log's factory throws.
  check_base(sensors::creation_context context, const settings::sensor_data_wrapper& data)
      : context_(std::move(context)), logger_(make_logger(context_)), settings_(data) {}
  check_base(const check_base&) = delete;
  check_base& operator=(const check_base&) = delete;

  [[nodiscard]] std::int32_t id() const noexcept final { return context_.id; }
  void log(const std::string& message, int severity) final {
    if (logger_) {
      logger_->log(severity, message);
    }
  }
  void log(const std::string& message) final { log(message, liblog::severity::debug); }

 protected:
  [[nodiscard]] const S& settings() const noexcept { return settings_; }
  [[nodiscard]] const std::shared_ptr<module::service_container>& container() const noexcept {
    return context_.container;
  }
  /// The check's own log, for others to write to as well; empty when logging is off.
  [[nodiscard]] const std::shared_ptr<liblog::log_interface>& logger() const noexcept {
    return logger_;
  }

  /// Writes what `make_text` returns, which is called only when the line is wanted.
  template <class MakeText>
  void log_lazily(MakeText&& make_text, int severity = liblog::severity::debug) {
    if (logger_ && logger_->enabled(severity)) {
      logger_->log(severity, std::forward<MakeText>(make_text)());
    }
  }

  /// Hands the outcome to the host.
  void send_result(const responses::check_result& result) {
    context_.container->get_or_create<messaging::message_service_interface>()->send(result);
    context_.reported->store(true);
  }

 private:
  static std::shared_ptr<liblog::log_interface> make_logger(
      const sensors::creation_context& context) {
    return context.mode == sensors::creation_context::mode_logging
               ? context.container->create<liblog::log_interface>(context.id)
               : nullptr;
  }

  const sensors::creation_context context_;
  const std::shared_ptr<liblog::log_interface> logger_;
  const S settings_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::checks
