#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "helpers/broker_log.hpp"
#include "helpers/fault_table.hpp"
#include "helpers/mqtt_packet.hpp"
#include "helpers/packet_record.hpp"
#include "helpers/tcp_server.hpp"

namespace kavu_test {

/// The protocol side of the scripted broker: what it answers, and where its faults come in.
/// Everything happens on the server's thread.
class mqtt_service final : private tcp_server::handler {
 public:
  using connection_id = tcp_server::connection_id;

  /// `on_change` is called after everything that somebody may wait for.
  explicit mqtt_service(std::function<void()> on_change);
  ~mqtt_service() { server_.stop(); }

  tcp_server& server() { return server_; }
  fault_table& faults() { return faults_; }
  packet_record& record() { return record_; }

  void set_retained_before_suback(bool on) { retained_before_suback_ = on; }
  void set_deliver_for_each_filter(bool on) { deliver_for_each_filter_ = on; }

  void route(const mqtt_packet& message);
  void send_bytes(std::string_view client, std::string_view bytes);
  void drop(std::string_view client, bool reset);

  std::vector<std::string> connected_clients() const;
  std::vector<broker_subscription> subscriptions() const;

 private:
  /// A connection, and the session that lives as long.
  struct session {
    connection_id connection = 0;
    /// Over; it goes when nobody on the stack uses it any more.
    bool ended = false;
    bool greeted = false;
    bool ignored = false;
    bool connected = false;
    std::string client_id = {};
    std::chrono::milliseconds patience{0};
    std::chrono::steady_clock::time_point last_sign_of_life = {};
    std::optional<will_message> will = {};
    std::map<std::string, std::uint8_t> filters = {};
    /// Quality of service 2: received and not yet released by the client.
    std::set<std::uint16_t> unreleased = {};
    /// Identifiers of messages to the client that it has not acknowledged to the end.
    std::set<std::uint16_t> in_flight = {};
    std::uint16_t last_packet_id = 0;
    /// Messages that wait for an identifier.
    std::deque<mqtt_packet> waiting = {};
  };
  using stage = void (mqtt_service::*)(session&, const mqtt_packet&);

  void opened(connection_id connection) override;
  void received(connection_id connection, std::string& bytes) override;
  void closed(connection_id connection) override;

  session* find(connection_id connection);
  void end(session& of, bool reset = false, bool with_will = true);
  void watch_keep_alive(connection_id connection);

  // Where faults come in: a packet goes from one stage to the next, or does not.
  void pass(session& of, step at, mqtt_packet packet, stage next);
  void apply(const fault_table::match& fault, session& of, mqtt_packet packet, stage next);
  std::function<void()> later(connection_id connection, mqtt_packet packet, stage next);
  void send(session& to, const mqtt_packet& packet);
  void transmit(session& to, const mqtt_packet& packet);

  void greet(session& with, const mqtt_packet& packet);
  void handle(session& from, const mqtt_packet& packet);
  void handle_connect(session& from, const mqtt_packet& packet);
  void handle_publish(session& from, const mqtt_packet& packet);
  void handle_subscribe(session& from, const mqtt_packet& packet);
  void handle_unsubscribe(session& from, const mqtt_packet& packet);

  void answer(session& to, packet_type type, std::uint16_t packet_id);
  void deliver_retained(session& to, const std::vector<topic_request>& filters);
  void deliver(session& to, mqtt_packet message, std::uint8_t granted_qos, bool retained);
  void deliver_waiting(session& to);

  std::function<void()> on_change_;
  fault_table faults_;
  packet_record record_;
  bool retained_before_suback_ = false;
  bool deliver_for_each_filter_ = false;
  std::size_t named_clients_ = 0;
  std::map<std::string, mqtt_packet> retained_;
  std::map<connection_id, session> sessions_;
  tcp_server server_;
};

}  // namespace kavu_test
