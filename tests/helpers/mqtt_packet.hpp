#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kavu_test {

/// Everything that happens between a broker and its clients, seen from the broker: the packet type
/// (MQTT 3.1.1 section 2.2.1), and 0x80 when the broker sends it.
enum class step : std::uint8_t {
  accepted = 0,  ///< A TCP connection, before anything is known of the client.
  connect_received = 1,
  publish_received = 3,
  puback_received = 4,
  pubrec_received = 5,
  pubrel_received = 6,
  pubcomp_received = 7,
  subscribe_received = 8,
  unsubscribe_received = 10,
  pingreq_received = 12,
  disconnect_received = 14,
  connack_sent = 0x82,
  publish_sent = 0x83,
  puback_sent = 0x84,
  pubrec_sent = 0x85,
  pubrel_sent = 0x86,
  pubcomp_sent = 0x87,
  suback_sent = 0x89,
  unsuback_sent = 0x8b,
  pingresp_sent = 0x8d
};

struct topic_request {
  std::string filter;
  std::uint8_t qos = 0;
};

/// One control packet; which fields mean something depends on the step.
struct mqtt_packet {
  step at = step::accepted;
  std::uint16_t packet_id = 0;

  // PUBLISH
  std::string topic = {};
  std::string payload = {};
  std::uint8_t qos = 0;
  bool retain = false;
  bool dup = false;

  // CONNECT
  int protocol_level = 0;
  std::uint8_t connect_flags = 0;
  std::string client_id = {};

  // CONNACK: one code. SUBACK: one for each filter.
  std::vector<std::uint8_t> codes = {};

  // SUBSCRIBE, UNSUBSCRIBE
  std::vector<topic_request> filters = {};

  // What the broker shall answer to a CONNECT, SUBSCRIBE or PUBLISH if not what it should.
  std::optional<std::uint8_t> refusal = {};
};

/// Takes the first packet off the front of what a client has sent; nothing while it is incomplete.
/// Throws std::runtime_error when it is none of MQTT 3.1.1 (or 3.1).
std::optional<mqtt_packet> take_packet(std::string_view& bytes);

/// The bytes of a packet that a broker sends.
std::string encode(const mqtt_packet& packet);

}  // namespace kavu_test
