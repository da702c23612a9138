#include "probe/channel_settings.hpp"

#include <fmt/format.h>

#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

void set_channel(settings_builder& settings, std::size_t number, const channel_option& channel) {
  const std::string prefix = fmt::format("channel{}", number);
  if (!settings.has(prefix + "_jsonpath")) {
    throw usage_error(fmt::format("--channel: the sensor has no channel {}.", number));
  }
  // The first channel is always on and has no switch.
  if (settings.has(prefix)) {
    settings.set(prefix, "enable", "--channel");
  }
  settings.set(prefix + "_jsonpath", channel.path, "--channel path=");
  settings.set(prefix + "_name", channel.name, "--channel name=");
  const auto set_if_given = [&](const char* what, const std::optional<std::string>& value,
                                const char* option) {
    if (value) {
      settings.set(prefix + what, *value, option);
    }
  };
  set_if_given("_unit", channel.unit, "--channel unit=");
  set_if_given("_type", channel.type, "--channel type=");
  set_if_given("_scale_factor", channel.scale, "--channel scale=");
}

}  // namespace

void set_channels(settings_builder& settings, const std::vector<channel_option>& channels) {
  for (std::size_t index = 0; index < channels.size(); ++index) {
    set_channel(settings, index + 1, channels[index]);
  }
}

}  // namespace kavu_probe
