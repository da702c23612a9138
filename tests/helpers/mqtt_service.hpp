#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "helpers/broker_thread.hpp"
#include "helpers/fault_rule.hpp"

namespace kavu_test {

/// The protocol side of the scripted broker: what it answers, and where its faults come in. All of
/// it is used on the broker's thread only.
class mqtt_service final : public broker_thread {
 public:
  mqtt_service() { start(); }
  ~mqtt_service() override { stop(); }

  struct rule_state {
    fault_rule rule;
    bool active = true;
    std::size_t applied = 0;
    std::vector<std::function<void()>> held = {};
  };
  std::deque<rule_state> rules = {};
  bool retained_before_suback = false;
  bool deliver_for_each_filter = false;

  /// Of each kind and client.
  std::map<std::pair<step, std::string>, std::size_t> counts = {};
  std::deque<seen_packet> latest = {};

  std::map<std::uint64_t, session>& sessions() { return sessions_; }
  using broker_thread::end;
  void route(const mqtt_packet& message);

 private:
  void opened(session& client) override;
  void received(session& client) override;

  // A packet passes, and is acted upon, unless a fault keeps it from it.
  void pass(session& of, mqtt_packet packet);
  rule_state* find_fault(const session& of, const mqtt_packet& packet);
  void apply(rule_state& fault, session& of, mqtt_packet packet);
  void act(session& of, const mqtt_packet& packet);
  std::function<void()> later(const session& of, mqtt_packet packet);
  void record(const session& of, const mqtt_packet& packet);

  void handle(session& from, const mqtt_packet& packet);
  void handle_connect(session& from, const mqtt_packet& packet);
  void handle_publish(session& from, const mqtt_packet& packet);
  void handle_subscribe(session& from, const mqtt_packet& packet);
  void deliver(session& to, mqtt_packet message, std::uint8_t granted_qos, bool retained);

  std::map<std::string, mqtt_packet> retained_ = {};
};

/// Whether a text has a shape: `*` stands for any text, `?` for one character.
bool matches_pattern(std::string_view pattern, std::string_view text);
/// Whether a packet's topic, or one of its filters, has it; with the pattern `*` every packet's.
bool is_about(const mqtt_packet& packet, std::string_view pattern);

}  // namespace kavu_test
