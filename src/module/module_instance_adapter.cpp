#include "module/module_instance_adapter.hpp"

#include <stdexcept>
#include <type_traits>
#include <utility>

#include "kavuhelper/messaging/message_service_interface.hpp"
#include "kavuhelper/module/log_registration.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "liblog/log_interface.hpp"
#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::mqtt {

using libkavuhelper::messaging::message_service_interface;
using libkavuhelper::messaging::module_information_message;
using libkavuhelper::module::sensor_dispatcher;
using libkavuhelper::settings::sensor_data_wrapper;

module_instance_adapter::module_instance_adapter(module_ptr module) : module_(std::move(module)) {
  if (module_ == nullptr) {
    throw std::invalid_argument("module_instance_adapter: module_instance must not be null");
  }
  libkavuhelper::module::register_runtime_log(module_->get_service_container());
  libkavuhelper::module::register_sensor_log(module_->get_service_container());
}

void module_instance_adapter::log(const std::string& message) {
  std::shared_ptr<liblog::log_interface> log;
  try {
    log = module_->get_service_container()->get_or_create<liblog::log_interface>();
  } catch (const libkavuhelper::utils::exceptions::service_container_error&) {
    return;
  }
  if (log != nullptr) {
    log->log(liblog::severity::debug, message);
  }
}

template <class Operation>
auto module_instance_adapter::run(const char* name, Operation&& operation) {
  log(std::string("### Begin ") + name + " ###");
  const std::string end = std::string("### End   ") + name + " ###";
  if constexpr (std::is_void_v<decltype(operation())>) {
    operation();
    log(end);
  } else {
    auto result = operation();
    log(end);
    return result;
  }
}

template <class Operation>
int module_instance_adapter::run_with_data(const char* name, const void* data, std::uint32_t size,
                                           Operation&& operation) {
  return run(name, [&] {
    const sensor_data_wrapper wrapper(data, size);
    log(wrapper.to_json());
    // Keeps the dispatcher for the call.
    const std::shared_ptr<sensor_dispatcher> dispatcher = module_->get_sensor_dispatcher();
    return operation(*dispatcher, wrapper);
  });
}

module_information_message module_instance_adapter::make_information(bool include_texts) const {
  return module_information_message(module_->get_module_information(), include_texts);
}

void module_instance_adapter::get_module_information(bool include_texts) {
  run("get_module_information", [&] {
    log(std::string("Do loadLanguages: ") + (include_texts ? "Yes" : "No"));
    const auto message = make_information(include_texts);
    module_->get_service_container()->get_or_create<message_service_interface>()->send(message);
  });
}

std::vector<std::uint8_t> module_instance_adapter::get_module_information_as_bytes(
    bool include_texts) {
  return run("get_module_information_as_bytes", [&] {
    log(std::string("Include texts: ") + (include_texts ? "Yes" : "No"));
    return make_information(include_texts).serialize();
  });
}

int module_instance_adapter::create_sensor_instance(std::int32_t sensor_id, const void* data,
                                                    std::uint32_t size) {
  return run_with_data("create_sensor_instance", data, size,
                       [&](sensor_dispatcher& dispatcher, const sensor_data_wrapper& wrapper) {
                         return dispatcher.create_sensor_instance(sensor_id, wrapper);
                       });
}

int module_instance_adapter::execute_sensor_scan(std::int32_t sensor_id) {
  return run("execute_sensor_scan", [&] {
    const std::shared_ptr<sensor_dispatcher> dispatcher = module_->get_sensor_dispatcher();
    return dispatcher->execute_sensor_scan(sensor_id);
  });
}

int module_instance_adapter::destroy_sensor_instance(std::int32_t sensor_id) {
  return run("destroy_sensor_instance", [&] {
    const std::shared_ptr<sensor_dispatcher> dispatcher = module_->get_sensor_dispatcher();
    return dispatcher->destroy_sensor_instance(sensor_id);
  });
}

int module_instance_adapter::execute_meta_scan(std::int32_t sensor_id, std::uint32_t value,
                                               const void* data, std::uint32_t size) {
  return run_with_data("execute_meta_scan", data, size,
                       [&](sensor_dispatcher& dispatcher, const sensor_data_wrapper& wrapper) {
                         return dispatcher.execute_meta_scan(sensor_id, value, wrapper);
                       });
}

int module_instance_adapter::execute_check(std::int32_t check_id, const void* data,
                                           std::uint32_t size) {
  return run_with_data("execute_check", data, size,
                       [&](sensor_dispatcher& dispatcher, const sensor_data_wrapper& wrapper) {
                         return dispatcher.execute_check(check_id, wrapper);
                       });
}

}  // namespace brunvik::monitoring_modules::mqtt
