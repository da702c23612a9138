#pragma once

#include <memory>
#include <optional>
#include <string>

#include "kavuhelper/sensors/sensor_base.hpp"
#include "libjsonparser/parser_interface.hpp"
#include "mqtt/sensors/custom_kept_values.hpp"
#include "mqtt/sensors/latest_message.hpp"
#include "mqtt/sensors/sensor_subscription.hpp"
#include "mqtt/sensors/warnings.hpp"
#include "mqtt/settings/subscribe_custom_sensor.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Turns the latest JSON message on a topic into values of up to ten channels.
///
/// Each message is evaluated by one scan at most; of several between two scans only the latest. A
/// scan without a new message reports nothing, or the last result again, as the user has chosen.
/// When the latest message came, and the last result, are given to the host to keep.
class subscribe_custom_sensor final
    : public libkavuhelper::sensors::sensor_base<settings::subscribe_custom_sensor> {
 public:
  /// Throws what getting the client and subscribing throw, after the host has been told.
  /// [host-thread]
  subscribe_custom_sensor(const libkavuhelper::sensors::creation_context& context,
                          const libkavuhelper::settings::sensor_data_wrapper& data);
  ~subscribe_custom_sensor() override;

 protected:
  void work() override;

 private:
  using scan_result = libkavuhelper::responses::sensor_scan_result;

  void subscribe();
  void keep_time_of_last_message();
  void repeat_last_result(warnings doubts);
  void evaluate(const received_message& message, warnings doubts);
  void add_sensor_message(const libparser::parser_interface& document,
                          const received_message& message, scan_result& result);
  void add_duration(scan_result& result);
  bool is_doubtful(const received_message& message, const scan_result& result);
  bool has_become_doubtful() const;
  void doubt_repetition(warnings& doubts, bool doubtful);

  /// What the last result rests on, if that is a message that the broker has repeated.
  struct repetition {
    std::uint64_t connection;
    bool doubtful;
  };

  // Shared with the subscription's callback, which may run once more after the sensor has gone.
  const std::shared_ptr<latest_message> latest_ = std::make_shared<latest_message>();
  std::optional<sensor_subscription> subscription_;
  custom_kept_values kept_;
  std::optional<repetition> repeated_;
  bool continues_ = false;  // an earlier life, and has had no live message in this one
  bool doubt_logged_ = false;
};

}  // namespace brunvik::monitoring_modules::mqtt
