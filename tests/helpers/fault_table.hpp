#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "helpers/fault_rule.hpp"
#include "helpers/mqtt_packet.hpp"

namespace kavu_test {

/// The rules of a scripted broker: which one applies to a packet, and what they hold back.
/// One thread at a time.
class fault_table {
 public:
  using task = std::function<void()>;

  struct match {
    std::size_t rule;
    fault_action action;
  };

  std::size_t add(fault_rule rule);

  /// What goes wrong with this packet, refusals aside; counts it.
  std::optional<match> find(step at, const std::string& client_id, const mqtt_packet& packet);
  /// The code with which this packet, or this filter of it, is refused; counts it.
  std::optional<std::uint8_t> find_refusal(step at, const std::string& client_id,
                                           const mqtt_packet& packet);

  void hold(std::size_t rule, task resume);
  /// Ends a rule; what it held is the caller's to run.
  std::vector<task> remove(std::size_t rule);
  std::vector<task> remove_all();

  std::size_t applied(std::size_t rule) const;

 private:
  struct rule_state {
    fault_rule rule;
    bool active = true;
    std::size_t met = 0;
    std::size_t applied = 0;
    std::vector<task> held = {};
  };

  std::optional<match> find(step at, const std::string& client_id, const mqtt_packet& packet,
                            bool refusals);

  std::map<std::size_t, rule_state> entries_ = {};
};

}  // namespace kavu_test
