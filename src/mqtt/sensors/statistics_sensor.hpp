#pragma once

#include <memory>
#include <optional>

#include "kavuhelper/sensors/sensor_base.hpp"
#include "mqtt/sensors/sensor_subscription.hpp"
#include "mqtt/sensors/statistics_counters.hpp"
#include "mqtt/settings/statistics_sensor.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Counts what arrives on a topic filter between two scans: messages, payload bytes, and topics
/// that sent anything.
///
/// It subscribes once, when it is created, through a client that it shares with every sensor of
/// equal settings. A scan while the connection is down, or the filter not subscribed, fails and
/// leaves the counts for the next one; the first good one after a loss is a warning, since messages
/// may be missing from it.
class statistics_sensor final
    : public libkavuhelper::sensors::sensor_base<settings::statistics_sensor> {
 public:
  /// Throws what getting the client and subscribing throw, after the host has been told.
  /// [host-thread]
  statistics_sensor(const libkavuhelper::sensors::creation_context& context,
                    const libkavuhelper::settings::sensor_data_wrapper& data);

 protected:
  void work() override;

 private:
  void subscribe();
  void register_channels();

  // Shared with the subscription's callback, which may run once more after the sensor has gone.
  const std::shared_ptr<statistics_counters> counters_ = std::make_shared<statistics_counters>();
  std::optional<sensor_subscription> subscription_;
};

}  // namespace brunvik::monitoring_modules::mqtt
