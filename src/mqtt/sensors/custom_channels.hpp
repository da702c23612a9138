#pragma once

#include <functional>
#include <string>

#include "kavuhelper/responses/sensor_scan_result.hpp"
#include "kavuhelper/settings/channel_map.hpp"
#include "libjsonparser/parser_interface.hpp"
#include "mqtt/settings/subscribe_custom_sensor.hpp"

/// The channels that a user has chosen, from settings to values.
namespace brunvik::monitoring_modules::mqtt {

/// The channel of the time since the last message.
inline constexpr std::int32_t duration_channel = 0;

using log_function = std::function<void(const std::string&)>;

/// Registers a channel for each that is switched on, with its number as its id, and channel 0 when
/// the time since the last message is wanted; channels that the host knows already stay.
void register_custom_channels(libkavuhelper::settings::channel_map& channels,
                              const settings::subscribe_custom_sensor& settings);

/// Takes the value of every channel that is switched on from a document and puts it into the
/// result. Returns what went wrong, each failure behind its channel's number; empty when nothing
/// did. One channel's failure does not keep the others from being tried. `log` is empty when
/// nobody wants lines.
std::string read_custom_channels(const libparser::parser_interface& document,
                                 const settings::subscribe_custom_sensor& settings,
                                 libkavuhelper::responses::sensor_scan_result& result,
                                 const log_function& log);

}  // namespace brunvik::monitoring_modules::mqtt
