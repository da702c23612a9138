#include <algorithm>
#include <cctype>
#include <string_view>

#include "platform/json_writer.hpp"
#include "platform/sensor_data.hpp"

namespace brunvik::monitoring_modules::platform {
namespace {

constexpr std::string_view mask = "********";

/// Every kind of private key in PEM form names itself so (RFC 7468); a spoiled one is still
/// recognised.
bool holds_private_key(std::string_view text) {
  constexpr std::string_view label = "PRIVATE KEY";
  const auto same_letter = [](char a, char b) {
    return a == b || (a >= 'a' && a <= 'z' && a - 'a' + 'A' == b);
  };
  return std::search(text.begin(), text.end(), label.begin(), label.end(), same_letter) !=
         text.end();
}

std::string_view shown(std::string_view text) {
  return holds_private_key(text) ? mask : text;
}

void write_settings(json_writer& json, const sensor_data& data) {
  json.key("settings");
  json.begin_object();
  for (const auto& [key, value] : data.settings) {
    if (!data.secure_settings.contains(key)) {
      json.member(shown(key), shown(value));
    }
  }
  for (const auto& entry : data.secure_settings) {
    json.member(shown(entry.first), mask);
  }
  json.end_object();
}

void write_channel(json_writer& json, const libkavuhelper::channels::dynamic_channel& channel) {
  const auto& options = channel.options;
  json.begin_object();
  json.member("id", std::int64_t{channel.id});
  json.member("key", shown(channel.name.key()));
  json.member("name", shown(channel.name.text()));
  json.member("kind", static_cast<std::int64_t>(options.kind));
  json.member("unit", static_cast<std::int64_t>(options.unit));
  json.member("unit_text", shown(options.unit_text));
  json.member("scale_factor", options.scale_factor.value_or(1.0));
  json.member("lookup_name", shown(options.lookup_name));
  json.end_object();
}

void write_sensor(json_writer& json, const sensor_data& data) {
  json.key("channels");
  json.begin_array();
  for (const auto& channel : data.channels) {
    write_channel(json, channel);
  }
  json.end_array();
  json.key("persistent_data");
  json.begin_object();
  for (const auto& [key, value] : data.persistent_data) {
    json.member(shown(key), shown(value));
  }
  json.end_object();
}

}  // namespace

std::string to_masked_json(const sensor_data& data) {
  json_writer json;
  json.begin_object();
  json.member("kind", shown(data.kind));
  write_settings(json, data);
  switch (data.type) {
    case sensor_data::wrapper::content_type::sensor_data:
      write_sensor(json, data);
      break;
    case sensor_data::wrapper::content_type::check_data:
      break;
    case sensor_data::wrapper::content_type::notification_request:
      json.member("target", shown(data.target));
      json.member("message", shown(data.message));
      json.member("timeout_s", data.timeout_s);
      break;
  }
  json.end_object();
  return json.take();
}

}  // namespace brunvik::monitoring_modules::platform
