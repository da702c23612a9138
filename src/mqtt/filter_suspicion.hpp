#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace brunvik::monitoring_modules::mqtt {

/// How likely a filter is to be the one that the broker ends the connection for.
///
/// Some brokers do so at a filter that they do not allow, and take the connection from all the
/// others with it, again at each renewal. Among filters asked for at once nobody knows which it
/// was, so suspects are asked for later, and in ever smaller groups. Who is caught alone is held
/// back for a minute, and then, if that has cost others their messages, four times as long after
/// each further attempt, up to an hour.
///
/// Not synchronised.
class filter_suspicion {
 public:
  /// The connection died while the filter was asked for. Tells whether it is held back from now on.
  bool grow(bool others_suffer);
  /// The broker has granted it.
  void clear() { *this = {}; }

  /// 0 for none.
  [[nodiscard]] unsigned level() const { return level_; }
  [[nodiscard]] bool is_held_back() const { return clock::now() < held_back_until_; }

 private:
  using clock = std::chrono::steady_clock;

  unsigned level_ = 0;
  clock::time_point held_back_until_{};
};

/// Filters to be asked for at once, in the order in which to ask, from filters by suspicion.
std::vector<std::vector<std::string>> make_renewal_groups(
    std::map<unsigned, std::vector<std::string>> filters);

}  // namespace brunvik::monitoring_modules::mqtt
