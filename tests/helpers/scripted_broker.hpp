#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "helpers/broker_log.hpp"
#include "helpers/eventually.hpp"
#include "helpers/fault_rule.hpp"

namespace kavu_test {

class mqtt_service;
using fault_id = std::size_t;  // from 1 on

/// An MQTT 3.1.1 broker in the test's own process that does what it is told, wrong things too.
///
/// Without faults it is a correct small broker: all three qualities of service, wildcards, retained
/// messages, take-over of a client id. It keeps no session over a connection, looks neither at
/// wills nor at keep-alive intervals, and lets everybody in.
///
///     scripted_broker broker;
///     broker.add({.at = step::suback_sent, .action = fault::withhold{}, .client = "TRAVO_*"});
///
/// Of several rules for one packet the one that was added first applies, as long as its `times`
/// last. All is done by one thread of its own; every function may be called from any thread and
/// returns when the thread has done it. `client` is a pattern of the client id. The destructor
/// breaks all connections and waits for nobody.
class scripted_broker {
 public:
  scripted_broker();
  ~scripted_broker();
  scripted_broker(const scripted_broker&) = delete;
  scripted_broker& operator=(const scripted_broker&) = delete;

  /// On 127.0.0.1; the same for the broker's whole life.
  std::uint16_t port() const noexcept;

  // What goes wrong.

  fault_id add(fault_rule rule);
  /// The rule ends; packets that it holds go on their way.
  void release(fault_id rule);
  void release_all();
  /// How often the rule has applied.
  std::size_t applied(fault_id rule) const;
  bool wait_for_fault(fault_id rule, std::size_t times = 1) const;

  /// Retained messages come before the SUBACK, as some brokers do it. Off at first.
  void deliver_retained_before_suback(bool on);
  /// A client whose filters overlap gets a message once for each. Off at first: once.
  void deliver_for_each_filter(bool on);

  // What it does on command.

  /// Routes a message as if some client had published it.
  void publish(std::string_view topic, std::string_view payload, int qos = 1, bool retain = false);
  /// Ends connections; with `reset` hard (RST).
  void drop(std::string_view client = "*", bool reset = false);
  /// Reads, writes and accepts nothing, like a stopped process: TCP alone goes on.
  void pause();
  void resume();
  /// New connections are refused; those that are there stay.
  void stop_listening();
  void start_listening();

  // What it has seen.

  std::vector<std::string> connected_clients() const;
  /// TCP connections, those included that have not said who they are.
  std::size_t open_connections() const;
  std::vector<broker_subscription> subscriptions() const;
  /// How many packets of a kind there were: received ones even when a fault swallowed them, sent
  /// ones only when they were sent.
  std::size_t count(step at, std::string_view client = "*") const;
  /// How often a filter was asked for, according to `packets()`.
  std::size_t subscribe_count(std::string_view filter) const;
  /// The packets themselves, oldest first, of the last 10,000 in all.
  std::vector<seen_packet> packets(step at, std::string_view client = "*",
                                   std::string_view topic = "*") const;
  void forget_packets();

  bool wait_for(const std::function<bool()>& predicate) const { return eventually(predicate); }
  bool wait_for_count(step at, std::size_t count, std::string_view client = "*") const;
  /// Waits until exactly so many clients are connected.
  bool wait_for_clients(std::size_t count, std::string_view client = "*") const;
  bool wait_for_subscription(std::string_view filter) const;

 private:
  std::unique_ptr<mqtt_service> service_;
};

}  // namespace kavu_test
