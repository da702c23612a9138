#include "kavuhelper/module/sensor_dispatcher.hpp"

#include <exception>
#include <stdexcept>
#include <utility>

#include "kavuhelper/messaging/message_service_interface.hpp"
#include "kavuhelper/module/log_registration.hpp"
#include "kavuhelper/notifications/response.hpp"
#include "kavuhelper/responses/check_result.hpp"
#include "kavuhelper/responses/sensor_scan_result.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "platform/notification_slot.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {
namespace {

using content_type = settings::sensor_data_wrapper::content_type;

/// Hands the exception that is being handled to `tell` as a standard one.
template <class Tell>
void tell_current_failure(const Tell& tell) {
  try {
    throw;
  } catch (const std::exception& failure) {
    tell(failure);
  } catch (...) {
    tell(std::runtime_error("A failure without a text occurred."));
  }
}

bool is_logging_wanted(const settings::sensor_data_wrapper& data) {
  return data.has_value("logging") && data.get_value("logging") == "enabled";
}

}  // namespace

sensor_dispatcher::sensor_dispatcher(std::shared_ptr<service_container> container)
    : container_(std::move(container)) {
  if (!container_) {
    throw utils::exceptions::initialization_error(
        "There is no service container for the dispatcher.");
  }
}

sensor_dispatcher::~sensor_dispatcher() = default;

void sensor_dispatcher::register_sensor(const std::string& name, sensor_creation create) {
  sensors_.try_emplace(name, std::move(create));
}

void sensor_dispatcher::register_check(const std::string& name, check_creation create) {
  checks_.try_emplace(name, std::move(create));
}

void sensor_dispatcher::register_notification(const std::string& name,
                                              notification_creation create) {
  auto slot = std::make_unique<notification_slot>(std::move(create));
  if (!notifications_.try_emplace(name, std::move(slot)).second) {
    throw utils::exceptions::notification_already_registered(name);
  }
}

void sensor_dispatcher::send(const messaging::kavu_message& message) const {
  container_->get_or_create<messaging::message_service_interface>()->send(message);
}

sensors::creation_context sensor_dispatcher::make_context(
    std::int32_t id, const settings::sensor_data_wrapper& data) const {
  sensors::creation_context context;
  context.container = container_;
  context.id = id;
  context.kind = data.get_kind();
  context.mode = is_logging_wanted(data) ? sensors::creation_context::mode_logging : 0;
  context.channels = std::make_shared<settings::channel_map>(data.get_channels());
  context.persistent_data =
      std::make_shared<settings::persistent_data_storage>(data.get_persistent_data());
  return context;
}

int sensor_dispatcher::create_sensor_instance(std::int32_t id,
                                              const settings::sensor_data_wrapper& data) {
  data.require(content_type::sensor_data);
  const auto creation = sensors_.find(data.get_kind());
  if (creation == sensors_.end()) {
    return dispatcher_unknown_kind;
  }
  const auto reserved = stock_.reserve(id);
  if (!reserved) {
    return dispatcher_id_in_use;
  }
  sensors::creation_context context;
  try {
    context = make_context(id, data);
    creation->second(context, stock_, data);
  } catch (...) {
    tell_current_failure([&](const std::exception& failure) {
      if (!context.reported->load()) {
        send(responses::sensor_scan_result(id, failure));
      }
    });
    throw;
  }
  return dispatcher_done;
}

int sensor_dispatcher::execute_sensor_scan(std::int32_t id) {
  const auto use = stock_.acquire(id);
  if (!use) {
    return dispatcher_unknown_id;
  }
  use->sensor().scan();
  return dispatcher_done;
}

int sensor_dispatcher::destroy_sensor_instance(std::int32_t id) {
  try {
    stock_.remove_sensor(id);
  } catch (const utils::exceptions::sensor_not_in_sensor_stock&) {
    return dispatcher_unknown_id;
  }
  return dispatcher_done;
}

int sensor_dispatcher::execute_check(std::int32_t id, const settings::sensor_data_wrapper& data) {
  data.require(content_type::check_data);
  const auto creation = checks_.find(data.get_kind());
  if (creation == checks_.end()) {
    return dispatcher_unknown_kind;
  }
  sensors::creation_context context;
  bool is_built = false;
  try {
    context = make_context(id, data);
    const auto check = creation->second(context, data);
    is_built = true;
    check->work();
  } catch (...) {
    tell_current_failure([&](const std::exception& failure) {
      if (!context.reported->load()) {
        send(is_built ? responses::check_result(id) : responses::check_result(id, failure));
      }
    });
    throw;
  }
  return dispatcher_done;
}

int sensor_dispatcher::execute_meta_scan(std::int32_t id, unsigned int value,
                                         const settings::sensor_data_wrapper& data) {
  if (value != notification_meta_scan) {
    return dispatcher_unknown_meta_scan;
  }
  const notifications::request request(data);
  const auto slot = notifications_.find(data.get_kind());
  if (slot == notifications_.end()) {
    return dispatcher_unknown_kind;
  }
  try {
    slot->second->deliver(request, container_, find_runtime_log(*container_));
  } catch (...) {
    tell_current_failure(
        [&](const std::exception& failure) { send(notifications::response(id, failure)); });
    return dispatcher_done;
  }
  send(notifications::response(id));
  return dispatcher_done;
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
