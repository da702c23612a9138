#include "mqtt/filter_suspicion.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace brunvik::monitoring_modules::mqtt {
namespace {

using namespace std::chrono_literals;

constexpr std::array<std::size_t, 4> group_sizes{100, 25, 5, 1};
constexpr std::array<std::chrono::minutes, 4> holding_times{1min, 4min, 16min, 60min};
/// From here on a filter is asked for alone.
constexpr unsigned alone = group_sizes.size() - 1;

}  // namespace

bool filter_suspicion::grow(bool others_suffer) {
  const unsigned before = std::exchange(level_, level_ + 1);
  if (before < alone) {
    return false;
  }
  const auto times_caught = std::min<std::size_t>(before - alone, holding_times.size() - 1);
  held_back_until_ = clock::now() + holding_times[others_suffer ? times_caught : 0];
  return true;
}

std::vector<std::vector<std::string>> make_renewal_groups(
    std::map<unsigned, std::vector<std::string>> filters) {
  std::vector<std::vector<std::string>> groups;
  for (auto& [level, names] : filters) {
    const std::size_t size = group_sizes[std::min(level, alone)];
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (i % size == 0) {
        groups.emplace_back();
      }
      groups.back().push_back(std::move(names[i]));
    }
  }
  return groups;
}

}  // namespace brunvik::monitoring_modules::mqtt
