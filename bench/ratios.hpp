#pragma once

#include <string_view>
#include <vector>

namespace kavu_bench {

/// A benchmark, and the one that it is compared with; empty for none.
struct row {
  std::string_view name;
  std::string_view reference = {};
};

/// Runs the benchmarks of the program in many short turns, in random order so that what else the
/// machine does meets them alike, and prints for each of `rows`, in their order, the CPU time of an
/// iteration and its ratio to the reference's. Takes the arguments of the benchmark library.
/// Returns what main returns.
int run_with_ratios(int argc, char** argv, const std::vector<row>& rows);

}  // namespace kavu_bench
