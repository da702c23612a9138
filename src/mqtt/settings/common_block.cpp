#include "mqtt/settings/common_block.hpp"

#include "kavuhelper/settings/kinds.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "mqtt/settings/integer.hpp"
#include "mqtt/settings/selection.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

namespace kinds = libkavuhelper::settings;
using kinds::sensor_data_wrapper;

namespace {

constexpr std::int64_t default_interval = 60;

kinds::validation_rules at_least(std::int64_t minimum) {
  return {.minimum = minimum, .is_minimum_set = true};
}

std::int64_t parse_interval(const sensor_data_wrapper& data) {
  std::string text;
  try {
    text = data.get_value("interval");
  } catch (const libkavuhelper::utils::exceptions::setting_not_available&) {
    return default_interval;
  }
  return parse_integer("interval", text, at_least(1));
}

logging_mode parse_logging(const sensor_data_wrapper& data) {
  return static_cast<logging_mode>(
      parse_selection(data, "logging", "logging", {{"disabled", 0}, {"enabled", 1}}));
}

ip_version parse_ip_version(const sensor_data_wrapper& data) {
  return static_cast<ip_version>(parse_selection(data, "ipversion", "ipversion",
                                                 {{"IPv4", 0}, {"0", 0}, {"IPv6", 1}, {"1", 1}}));
}

}  // namespace

// The order matters: of several faults the first is told.
common_block::common_block(const sensor_data_wrapper& data)
    : host(kinds::kind_string::parse_and_validate(data.get_value("host"))),
      logging(parse_logging(data)),
      timeout(parse_integer("timeout", data.get_value("timeout"), at_least(0))),
      cloud_api_key(kinds::kind_securestring::parse_and_validate(
          data.get_secure_value("brunvikcloudapikey"))),
      ipversion(parse_ip_version(data)),
      interval(parse_interval(data)) {}

}  // namespace brunvik::monitoring_modules::mqtt::settings
