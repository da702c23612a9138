#include "fuzz/envelope_text.hpp"

#include <stdexcept>

#include "fuzz/fuzz_input.hpp"
#include "helpers/host_settings.hpp"

namespace kavu_test {
namespace {

host_settings defaults_of(std::string_view kind) {
  constexpr std::uint16_t port = 1883;
  if (kind.starts_with("mqtt_notification")) {
    return host_settings::notification(port, "alerts", "empty");
  }
  if (kind.starts_with("mqtt_connect_check")) {
    return host_settings::connect_check(port);
  }
  if (kind.starts_with("subscribe_custom_sensor")) {
    return host_settings::custom_sensor(port, "plant/energy");
  }
  if (kind.starts_with("roundtrip_sensor")) {
    return host_settings::roundtrip_sensor(port);
  }
  return host_settings::statistics_sensor(port, "plant/#");
}

void follow(host_settings& settings, std::string_view line) {
  if (line.starts_with('-')) {
    succeeds<std::logic_error>([&] { settings.remove(line.substr(1)); });
    return;
  }
  std::string_view value = line;
  const auto key = take_until(value, "=");
  if (key.starts_with('*')) {
    with_settings(settings.envelope(), [&](auto& message) {
      auto& entry = *message.add_secure_settings();
      entry.set_key(std::string(key.substr(1)));
      entry.set_value(std::string(value));
    });
  } else if (key.starts_with('+') && settings.envelope().has_sensor_data()) {
    settings.persistent(key.substr(1), value);
  } else {
    settings.set(key, value);
  }
}

}  // namespace

std::string envelope_from(std::string_view text) {
  constexpr std::string_view raw = "raw:";
  if (text.starts_with(raw)) {
    return std::string(text.substr(raw.size()));
  }
  const auto kind = take_line(text);
  auto settings = defaults_of(kind).kind(kind);
  while (!text.empty()) {
    follow(settings, take_line(text));
  }
  return settings.serialize();
}

}  // namespace kavu_test
