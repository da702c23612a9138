#pragma once

#include "kavuhelper/checks/check_base.hpp"
#include "mqtt/settings/mqtt_connect_check.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Tells whether a broker can be reached with the given credentials: successful exactly when a
/// client for them is connected. Why it is not stands in the log.
class mqtt_connect_check final
    : public libkavuhelper::checks::check_base<settings::mqtt_connect_check> {
 public:
  mqtt_connect_check(const libkavuhelper::sensors::creation_context& context,
                     const libkavuhelper::settings::sensor_data_wrapper& data)
      : check_base(context, data) {}

  /// Takes at most as long as making a client. [host-thread]
  void work() override;
};

}  // namespace brunvik::monitoring_modules::mqtt
