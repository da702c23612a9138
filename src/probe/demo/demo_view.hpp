#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "probe/console.hpp"
#include "probe/demo/demo_table.hpp"

namespace kavu_probe {

/// Shows the demo to a person. On a terminal the table is drawn again in its place and a line
/// below it shows that something is going on; elsewhere each scan's table is printed once.
class demo_view {
 public:
  /// `quiet` shows nothing. `in_place` allows drawing over what was drawn before, which needs an
  /// output that nobody else writes to.
  demo_view(bool quiet, bool in_place);

  /// A line that stays. Not after the first table.
  void say(const std::string& line) const;

  /// Draws the table after a scan.
  void show_scan(const std::string& caption, const std::vector<table_entry>& entries);

  /// What is being waited for, since `begin` and until `end`.
  void wait_for(std::string what, std::chrono::steady_clock::time_point begin,
                std::chrono::steady_clock::time_point end);

  /// Draws again what changes with time. Several times a second.
  void tick();

  /// Removes the line below the table.
  void end_waiting();

 private:
  bool can_draw_over() const;
  void draw();
  std::vector<std::string> compose() const;
  void show_progress();
  void clear_progress();

  const bool quiet_;
  const bool in_place_;
  std::string caption_;
  std::vector<table_entry> entries_;
  std::size_t drawn_lines_ = 0;
  std::chrono::steady_clock::time_point drawn_;
  std::string what_;
  std::chrono::steady_clock::time_point begin_;
  std::chrono::steady_clock::time_point end_;
  bool progress_shown_ = false;
};

}  // namespace kavu_probe
