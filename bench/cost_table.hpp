#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kavu_bench {

/// What one contender took in each of its turns.
struct cost {
  std::string name;
  std::vector<double> nanoseconds;

  double median() const;
};

/// One line of a table, and the contender that it is compared with; empty for none.
struct cost_line {
  const cost& measured;
  std::string_view reference = {};
};

/// Prints medians, spread, and the ratio of each median to that of its reference, which must be in
/// the table too.
void print_table(const std::vector<cost_line>& lines);

}  // namespace kavu_bench
