#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace kavu_probe {

/// A stretch of time in which a device sends nothing, coming round again and again.
struct silence {
  std::chrono::nanoseconds begin;
  std::chrono::nanoseconds length;
  std::chrono::nanoseconds cycle;

  bool covers(std::chrono::nanoseconds time) const {
    return cycle.count() > 0 && time % cycle >= begin && time % cycle < begin + length;
  }
};

/// One simulated device: where it publishes, how often, and what at a given time.
struct plant_device {
  std::string topic;
  std::chrono::milliseconds period;
  std::function<std::string(double seconds)> payload;
  silence pause{};
};

/// The topics that the demo looks at more closely. They lie outside "plant/#", since a broker may
/// send a message twice to a client whose subscriptions overlap.
inline constexpr const char* energy_meter_topic = "site/energy/main";
inline constexpr const char* cooling_pump_topic = "site/pump/cooling";

/// All devices of the plant. Two of them, the cooling pump among them, fall silent as `pause`
/// says.
std::vector<plant_device> make_plant_devices(const silence& pause);

}  // namespace kavu_probe
