#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "helpers/process_figures.hpp"

namespace kavu_test::soak {

enum class outage { killed, stopped, frozen, frozen_and_killed };
inline constexpr std::size_t outage_kinds = 4;

/// What is counted over the whole run. [any-thread]
class tally {
 public:
  using number = std::atomic<std::int64_t>;

  // Messages to topics that a statistics sensor watches: what was published was counted, or lost
  // for one of the reasons.
  number published = 0;
  number counted = 0;
  number lost_with_broker = 0;
  number lost_before_renewal = 0;
  number unexplained = 0;

  number outages[outage_kinds] = {};
  number reconnects = 0;
  /// Sensors that did not count again, or calls that failed, while their broker stood.
  number faults = 0;

  number scans_ok = 0;
  number scans_connection_lost = 0;
  number scans_other = 0;
  number slowest_scan_us = 0;

  number visits = 0;
  number visits_cut_short = 0;

  void note_scan_time(std::chrono::steady_clock::duration taken);
  void note_unexplained(std::int64_t messages, const std::string& what);
  void note_fault(const std::string& what);
  std::string table() const;
  /// The first words of whoever had something to complain about.
  std::vector<std::string> complaints() const;

 private:
  void complain(const std::string& what);

  mutable std::mutex mutex_;
  std::vector<std::string> complaints_ = {};  // guarded by mutex_
};

/// What the process held before there was anything, when all of it was there, and so on.
struct process_history {
  process_figures empty;
  process_figures warm;
  process_figures last;
  process_figures cleaned_up;

  /// May grow by this much, between warm and last, for what allocators keep.
  static constexpr std::size_t resident_slack = 16U * 1024 * 1024;

  /// Sanitizers keep what has been freed; under them nothing is known to be allocated.
  bool grew() const {
    return last.heap_bytes > 0 && last.resident_bytes > warm.resident_bytes + resident_slack;
  }
  bool left_something() const {
    return cleaned_up.threads != empty.threads || cleaned_up.descriptors != empty.descriptors;
  }
  std::string table() const;
};

}  // namespace kavu_test::soak
