#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "kavuhelper/sensors/sensor_base.hpp"
#include "mqtt/mqtt_client_interface.hpp"
#include "mqtt/settings/roundtrip_sensor.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Checks that a broker passes messages from end to end.
///
/// Each scan makes two clients of its own, sends a random message from one to the other, and
/// reports how long that and the connecting took, and how far it got. Nothing but the sensor's
/// three characters in topic and client identifiers outlives a scan.
class roundtrip_sensor final
    : public libkavuhelper::sensors::sensor_base<settings::roundtrip_sensor> {
 public:
  roundtrip_sensor(const libkavuhelper::sensors::creation_context& context,
                   const libkavuhelper::settings::sensor_data_wrapper& data);

 protected:
  /// Takes a second, and what the broker takes: connecting twice, then the message.
  void work() override;

 private:
  /// How far a scan has got: the values of the channel "state", named by the lookup "rttstate".
  enum class state : long {
    subscriber_could_not_connect = 0,
    publisher_could_not_connect = 1,
    message_not_sent = 2,
    message_not_received = 3,
    roundtrip_complete = 4,
  };

  void register_channels();
  void run(libkavuhelper::responses::sensor_scan_result& result, state& reached);
  std::unique_ptr<mqtt_client_interface> connect(const std::string& role);
  std::string expand(const std::string& text);

  std::mutex scan_mutex_;
  const std::string instance_suffix_;
};

}  // namespace brunvik::monitoring_modules::mqtt
