#include "mqtt/settings/subscribe_custom_sensor.hpp"

#include "mqtt/settings/group_reader.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

using libkavuhelper::settings::sensor_data_wrapper;

namespace {

custom_channel read_channel(const group_reader& group, std::size_t number) {
  const std::string name = "channel" + std::to_string(number);
  custom_channel channel;
  if (number >= 2) {
    channel.enabled =
        static_cast<activation>(group.selection(name, "channel", {{"disable", 0}, {"enable", 1}}));
  }
  channel.jsonpath = group.text(name + "_jsonpath");
  channel.name = group.text(name + "_name");
  channel.unit = group.text(name + "_unit");
  channel.type = static_cast<channel_type>(
      group.selection(name + "_type", "channel_type",
                      {{"absolute_integer", 0}, {"absolute_float", 1}, {"delta_counter", 2}}));
  channel.scale_factor = group.floating(name + "_scale_factor");
  return channel;
}

}  // namespace

// The order matters: of several faults the first is told.
subscribe_custom_sensor::subscribe_custom_sensor(const sensor_data_wrapper& data)
    : common(data),
      credentials(data, credentials_section),
      connection(data, credentials_section),
      tls(data, credentials_section) {
  const group_reader group(data, "subscribe_custom", "connection_subscribe_custom");
  for (std::size_t index = 0; index < channel_count; ++index) {
    channels[index] = read_channel(group, index + 1);
  }
  topic = group.text("topic");
  duration_since_last_message = static_cast<activation>(
      group.selection("duration_since_last_message", "duration_since_last_message",
                      {{"disable", 0}, {"enable", 1}}));
  retain_last_message = static_cast<last_message>(group.selection(
      "retain_last_message", "retain_last_message", {{"dismiss", 0}, {"retain", 1}}));
  message_path = group.text("message_path");
}

}  // namespace brunvik::monitoring_modules::mqtt::settings
