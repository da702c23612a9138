#include "kavuhelper/module/log_registration.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "kavuhelper/messaging/message_service_interface.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "liblog/log_interface.hpp"
#include "platform/log_record.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {
namespace {

using message_service = std::shared_ptr<messaging::message_service_interface>;

class host_log : public liblog::log_interface {
 public:
  host_log(message_service service, std::optional<std::int32_t> sensor_id)
      : service_(std::move(service)), sensor_id_(sensor_id) {}

  void log(int severity, const std::string& message) override {
    try {
      service_->send(platform::log_record(severity, message, sensor_id_));
    } catch (...) {
      // A line that cannot be sent is lost: it may come from a thread that knows no exceptions.
    }
  }

 private:
  const message_service service_;
  const std::optional<std::int32_t> sensor_id_;
};

message_service resolve_service(const std::shared_ptr<service_container>& container) {
  if (!container) {
    throw utils::exceptions::initialization_error("There is no service container for the logs.");
  }
  return container->get_or_create<messaging::message_service_interface>();
}

}  // namespace

void register_runtime_log(const std::shared_ptr<service_container>& container) {
  auto service = resolve_service(container);
  container->add_factory<liblog::log_interface>(
      [service = std::move(service)] { return std::make_unique<host_log>(service, std::nullopt); });
}

std::shared_ptr<liblog::log_interface> find_runtime_log(service_container& container) {
  return container.has_factory<factory_function<liblog::log_interface>>() ||
                 container.has_instance<liblog::log_interface>()
             ? container.get_or_create<liblog::log_interface>()
             : nullptr;
}

void register_sensor_log(const std::shared_ptr<service_container>& container) {
  auto service = resolve_service(container);
  container->add_factory<liblog::log_interface, std::int32_t>(
      [service = std::move(service)](std::int32_t sensor_id) {
        return std::make_unique<host_log>(service, sensor_id);
      });
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
