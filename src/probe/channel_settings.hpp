#pragma once

#include <vector>

#include "probe/options.hpp"
#include "probe/settings_builder.hpp"

namespace kavu_probe {

/// Puts channels that the user defines into a sensor's settings, the first as channel 1. Throws
/// usage_error when the sensor has not that many, or a value does not fit.
void set_channels(settings_builder& settings, const std::vector<channel_option>& channels);

}  // namespace kavu_probe
