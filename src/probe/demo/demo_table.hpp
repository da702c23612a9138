#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "probe/report.hpp"

namespace kavu_probe {

/// A number that somebody else measured, to be shown under the channel it confirms.
struct second_opinion {
  std::string channel_key;
  std::string who;
  std::string value;
};

/// One sensor in the demo's table: its name, and its last scan once there is one.
struct table_entry {
  std::string title;
  std::optional<scan_report> report;
  std::chrono::steady_clock::time_point scanned;
  /// The time that a counter's difference stands for, in words.
  std::string counting_time;
  std::vector<second_opinion> opinions;
};

/// The table as lines for a terminal of that width: names, values, units, how old the values are
/// at `now`, and what they mean in words. Without `styled` there are no escape sequences in it.
std::vector<std::string> draw_table(const std::vector<table_entry>& entries,
                                    std::chrono::steady_clock::time_point now, std::size_t width,
                                    bool styled);

}  // namespace kavu_probe
