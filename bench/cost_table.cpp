#include "cost_table.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace kavu_bench {
namespace {

std::string readable(double nanoseconds) {
  static constexpr std::array<std::pair<double, const char*>, 3> units{
      {{1e6, "ms"}, {1e3, "us"}, {1, "ns"}}};
  for (const auto& [size, name] : units) {
    if (nanoseconds >= size) {
      const double shown = nanoseconds / size;
      return fmt::format("{:.{}f} {}", shown, shown < 10 ? 2 : 1, name);
    }
  }
  return fmt::format("{:.2f} ns", nanoseconds);
}

std::string ratio(const cost_line& line, const std::vector<cost_line>& lines) {
  const auto found = std::find_if(lines.begin(), lines.end(), [&](const auto& other) {
    return other.measured.name == line.reference;
  });
  if (found == lines.end()) {
    return "";
  }
  const double value = line.measured.median() / found->measured.median();
  return fmt::format("{:.{}f} of {}", value, value < 10 ? 3 : 0, line.reference);
}

}  // namespace

double cost::median() const {
  auto sorted = nanoseconds;
  std::sort(sorted.begin(), sorted.end());
  return sorted[sorted.size() / 2];
}

void print_table(const std::vector<cost_line>& lines) {
  constexpr const char* layout = "{:<44}{:>11}{:>11}{:>11}  {}\n";
  fmt::print(layout, "", "median", "lowest", "highest", "ratio");
  for (const auto& line : lines) {
    const auto& taken = line.measured.nanoseconds;
    const auto [lowest, highest] = std::minmax_element(taken.begin(), taken.end());
    fmt::print(layout, line.measured.name, readable(line.measured.median()), readable(*lowest),
               readable(*highest), ratio(line, lines));
  }
}

}  // namespace kavu_bench
