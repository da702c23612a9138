#pragma once

#include <memory>

#include "kavuhelper/module/service_container.hpp"
#include "liblog/log_interface.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// Gives the container the module's log: a factory of `liblog::log_interface` without arguments,
/// whose lines go to the host as log records. Resolve it with `get_or_create`.
///
/// The log holds the message service, resolved here, and never enters the container again: a line
/// may be written on any thread, whatever lock is held elsewhere. It throws nothing.
///
/// Throws `initialization_error` for a null container, `factory_not_available` without a message
/// service, `already_contains_factory` the second time.
void register_runtime_log(const std::shared_ptr<service_container>& container);

/// The module's log; null when none has been registered. [any-thread]
std::shared_ptr<liblog::log_interface> find_runtime_log(service_container& container);

/// Gives the container the factory of the logs of single sensors and checks: one of
/// `liblog::log_interface` that takes the id (`std::int32_t`). As above otherwise.
void register_sensor_log(const std::shared_ptr<service_container>& container);

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
