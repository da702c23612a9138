// The interfaces' destructors are here so that their type information exists once, in this
// library, and is shared by every module.

#include "kavuhelper/checks/check_interface.hpp"
#include "kavuhelper/messaging/kavu_message.hpp"
#include "kavuhelper/messaging/message_service_interface.hpp"
#include "kavuhelper/notifications/service_interface.hpp"
#include "kavuhelper/sensors/sensor_interface.hpp"

namespace brunvik::monitoring_modules::libkavuhelper {

checks::check_interface::~check_interface() = default;
messaging::kavu_message::~kavu_message() = default;
messaging::message_service_interface::~message_service_interface() = default;
notifications::service_interface::~service_interface() = default;
sensors::sensor_interface::~sensor_interface() = default;

}  // namespace brunvik::monitoring_modules::libkavuhelper
