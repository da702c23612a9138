#pragma once

#include <memory>

#include "kavuhelper/module/service_container.hpp"
#include "mqtt/mqtt_client_interface.hpp"
#include "mqtt/mqtt_client_settings.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// The client that all holders of equal settings share, made and connected if there is none.
///
/// The container remembers clients weakly: one lives exactly as long as somebody holds it. Whoever
/// wants a client that is just being made waits for it, at most its own time-out and half a second;
/// nobody else waits. Throws what making the client throws, to everyone who waited for
/// it, and keeps nothing then; `tcp_connection_timeout` to those who waited in vain. [host-thread]
std::shared_ptr<mqtt_client_interface> get_or_create_client(
    libkavuhelper::module::service_container& container, const mqtt_client_settings& settings);

}  // namespace brunvik::monitoring_modules::mqtt
