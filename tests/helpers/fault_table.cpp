#include "helpers/fault_table.hpp"

#include <iterator>

#include "helpers/packet_record.hpp"
#include "helpers/topic_match.hpp"

namespace kavu_test {

std::size_t fault_table::add(fault_rule rule) {
  const std::size_t id = entries_.size() + 1;
  entries_.emplace(id, rule_state{.rule = std::move(rule)});
  return id;
}

std::optional<fault_table::match> fault_table::find(step at, const std::string& client_id,
                                                    const mqtt_packet& packet, bool refusals) {
  for (auto& [id, state] : entries_) {
    const auto& rule = state.rule;
    if (!state.active || rule.at != at ||
        std::holds_alternative<fault::refuse>(rule.action) != refusals ||
        !matches_pattern(rule.client, client_id) || !has_topic(packet, rule.topic)) {
      continue;
    }
    if (++state.met > rule.skip && state.applied < rule.times) {
      ++state.applied;
      return match{id, rule.action};
    }
  }
  return std::nullopt;
}

std::optional<fault_table::match> fault_table::find(step at, const std::string& client_id,
                                                    const mqtt_packet& packet) {
  return find(at, client_id, packet, false);
}

std::optional<std::uint8_t> fault_table::find_refusal(step at, const std::string& client_id,
                                                      const mqtt_packet& packet) {
  const auto found = find(at, client_id, packet, true);
  if (!found) {
    return std::nullopt;
  }
  return std::get<fault::refuse>(found->action).code;
}

void fault_table::hold(std::size_t rule, task resume) {
  entries_.at(rule).held.push_back(std::move(resume));
}

std::vector<fault_table::task> fault_table::remove(std::size_t rule) {
  auto& state = entries_.at(rule);
  state.active = false;
  return std::exchange(state.held, {});
}

std::vector<fault_table::task> fault_table::remove_all() {
  std::vector<task> tasks;
  for (auto& [id, state] : entries_) {
    auto held = remove(id);
    std::move(held.begin(), held.end(), std::back_inserter(tasks));
  }
  return tasks;
}

std::size_t fault_table::applied(std::size_t rule) const {
  return entries_.at(rule).applied;
}

}  // namespace kavu_test
