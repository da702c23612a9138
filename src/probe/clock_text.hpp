#pragma once

#include <chrono>
#include <string>

namespace kavu_probe {

/// "2024-05-01T12:34:56.789Z": UTC, milliseconds, independent of locale and time zone.
std::string utc_text(std::chrono::system_clock::time_point time);

/// "12:34:56" in the time zone of this process.
std::string local_time_of_day(std::chrono::system_clock::time_point time);

}  // namespace kavu_probe
