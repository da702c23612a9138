#pragma once

#include <cstdint>

#include "probe/report.hpp"

namespace kavu_probe {

/// Makes a good result an error when its last message is older than that, or when it knows of none.
/// The values stay; what the sensor said itself stands behind the reason.
///
/// The age is the channel "Time Since Last Message", in whole seconds, which must be switched on.
void require_recent_message(scan_report& report, std::int64_t max_age_s);

}  // namespace kavu_probe
