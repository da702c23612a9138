#include "mqtt/sensors/custom_channels.hpp"

#include <fmt/format.h>

#include "libjsonparser/exceptions.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/sensors/messages.hpp"

namespace brunvik::monitoring_modules::mqtt {

namespace channels = libkavuhelper::channels;
using settings::channel_type;
using settings::custom_channel;

namespace {

channels::channel_kind kind_of(channel_type type) {
  switch (type) {
    case channel_type::absolute_integer:
      return channels::channel_kind::integer;
    case channel_type::delta_counter:
      return channels::channel_kind::delta_counter;
    case channel_type::absolute_float:
      break;
  }
  return channels::channel_kind::floating;
}

channels::dynamic_channel_options options_of(const custom_channel& channel) {
  return {
      .kind = kind_of(channel.type),
      .unit = channel.unit.empty() ? channels::channel_unit::none : channels::channel_unit::custom,
      .unit_text = channel.unit,
      .scale_factor = channel.scale_factor};
}

std::int64_t read_counter(const libparser::parser_interface& document, const std::string& path) {
  if (const auto value = document.query_counter(path)) {
    return *value;
  }
  throw exceptions::negative_values_not_supported_by_counter_channels();
}

void read_channel(const libparser::parser_interface& document, const custom_channel& channel,
                  std::int32_t number, libkavuhelper::responses::sensor_scan_result& result,
                  const log_function& log) {
  std::string found;
  switch (channel.type) {
    case channel_type::absolute_integer: {
      const std::int64_t value = document.query_integer(channel.jsonpath);
      found = std::to_string(value);
      result.set_value(number, static_cast<long>(value));
      break;
    }
    case channel_type::absolute_float: {
      const double value = document.query_float(channel.jsonpath);
      found = fmt::format("{:f}", value);
      result.set_value(number, value);
      break;
    }
    case channel_type::delta_counter: {
      const std::int64_t value = read_counter(document, channel.jsonpath);
      found = std::to_string(value);
      result.set_value(number, static_cast<long>(value));
      break;
    }
  }
  if (log) {
    log("Found value: " + found);
  }
}

void log_failure(const log_function& log, std::int32_t number, const std::string& path,
                 const char* detail) {
  if (log) {
    log("Error while processing channel #" + std::to_string(number) + " with json path: " + path +
        detail);
  }
}

}  // namespace

void register_custom_channels(libkavuhelper::settings::channel_map& channels_of_sensor,
                              const settings::subscribe_custom_sensor& settings) {
  const auto offer = [&](std::int32_t id, const libi18n::i18n_msg& name,
                         const channels::dynamic_channel_options& options) {
    if (!channels_of_sensor.is_definition_registered(id)) {
      channels_of_sensor.register_definition(id, name, options);
    }
  };
  if (settings.duration_since_last_message == settings::activation::enable) {
    offer(duration_channel, messages::channel_duration_since_last_message(),
          {.kind = channels::channel_kind::integer, .unit = channels::channel_unit::seconds});
  }
  std::int32_t number = 0;
  for (const auto& channel : settings.channels) {
    ++number;
    if (channel.is_on()) {
      offer(number, libi18n::i18n_msg::verbatim(channel.name), options_of(channel));
    }
  }
}

std::string read_custom_channels(const libparser::parser_interface& document,
                                 const settings::subscribe_custom_sensor& settings,
                                 libkavuhelper::responses::sensor_scan_result& result,
                                 const log_function& log) {
  std::string failures;
  const auto collect = [&failures](std::int32_t number, const libi18n::i18n_exception& failure) {
    failures += (failures.empty() ? "Channel " : " Channel ") + std::to_string(number) + ": " +
                failure.message().text();
  };
  std::int32_t number = 0;
  for (const auto& channel : settings.channels) {
    ++number;
    if (!channel.is_on()) {
      continue;
    }
    if (log) {
      log("Processing channel " + std::to_string(number) + " with json path: " + channel.jsonpath);
    }
    try {
      read_channel(document, channel, number, result, log);
    } catch (const libparser::exceptions::exception& failure) {
      log_failure(log, number, channel.jsonpath, "");
      collect(number, failure);
    } catch (const exceptions::negative_values_not_supported_by_counter_channels& failure) {
      log_failure(log, number, channel.jsonpath, ": Received negative value for counter channel.");
      collect(number, failure);
    }
  }
  return failures;
}

}  // namespace brunvik::monitoring_modules::mqtt
