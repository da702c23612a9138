#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kavu_test {

/// Control packet types (MQTT 3.1.1 section 2.2.1).
enum class packet_type : std::uint8_t {
  connect = 1,
  connack = 2,
  publish = 3,
  puback = 4,
  pubrec = 5,
  pubrel = 6,
  pubcomp = 7,
  subscribe = 8,
  suback = 9,
  unsubscribe = 10,
  unsuback = 11,
  pingreq = 12,
  pingresp = 13,
  disconnect = 14
};

struct topic_request {
  std::string filter;
  std::uint8_t qos = 0;
};

struct will_message {
  std::string topic;
  std::string payload;
  std::uint8_t qos = 0;
  bool retain = false;
};

/// One control packet; which fields mean something depends on the type.
struct mqtt_packet {
  packet_type type = packet_type::pingreq;
  std::uint16_t packet_id = 0;

  // PUBLISH
  std::string topic = {};
  std::string payload = {};
  std::uint8_t qos = 0;
  bool retain = false;
  bool dup = false;

  // CONNECT
  std::uint8_t protocol_level = 4;
  std::string client_id = {};
  bool clean_session = true;
  std::uint16_t keep_alive_s = 0;
  std::optional<will_message> will = {};
  std::optional<std::string> user = {};
  std::optional<std::string> password = {};

  // CONNACK: one code. SUBACK: one for each filter.
  std::vector<std::uint8_t> codes = {};

  // SUBSCRIBE, UNSUBSCRIBE
  std::vector<topic_request> filters = {};
};

/// What has arrived is not MQTT 3.1.1 (or 3.1).
class malformed_packet : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct decoded_packet {
  mqtt_packet packet;
  /// Bytes that it took.
  std::size_t size = 0;
};

/// Reads the first packet of what a client has sent. Nothing while it is incomplete; throws
/// malformed_packet.
std::optional<decoded_packet> decode(std::string_view bytes);

/// The bytes of a packet that a server sends.
std::string encode(const mqtt_packet& packet);

}  // namespace kavu_test
