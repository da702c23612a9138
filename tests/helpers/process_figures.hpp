#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace kavu_test {

/// What this process holds, for tests that compare before and after.
struct process_figures {
  std::size_t threads = 0;
  std::size_t descriptors = 0;
  /// Memory in RAM; the allocator keeps some for later, so it grows a little at first.
  std::size_t resident_bytes = 0;
  /// What the allocator has handed out and not got back. 0 under the sanitizers, which bring an
  /// allocator of their own.
  std::size_t heap_bytes = 0;

  static process_figures now();
};

std::ostream& operator<<(std::ostream& stream, const process_figures& figures);

/// Name of each thread, in no order: says who is still there when the number is wrong.
std::vector<std::string> thread_names();

/// What each open descriptor is ("socket:[1234]", a path).
std::vector<std::string> open_descriptors();

}  // namespace kavu_test
