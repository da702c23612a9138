#pragma once

#include <string>
#include <vector>

#include "probe/options.hpp"

namespace kavu_probe {

/// A sensor that the demo creates: its kind in the definition document, what it looks at in a few
/// words, and its settings.
struct demo_sensor_plan {
  std::string kind;
  std::string subject;
  std::vector<named_value> settings;
  std::vector<channel_option> channels;
  /// Its counts can be compared with the plant's own.
  bool counts_plant = false;
};

std::vector<demo_sensor_plan> make_demo_sensor_plans();

}  // namespace kavu_probe
