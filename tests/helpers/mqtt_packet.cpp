#include "helpers/mqtt_packet.hpp"

#include <stdexcept>

namespace kavu_test {
namespace {

void require(bool holds) {
  if (!holds) {
    throw std::runtime_error("this is not MQTT");
  }
}

/// Takes fields off the front of a packet's body.
struct field_reader {
  std::string_view rest;

  std::string_view take(std::size_t size) {
    require(rest.size() >= size);
    const auto taken = rest.substr(0, size);
    rest.remove_prefix(size);
    return taken;
  }
  std::uint8_t byte() { return static_cast<std::uint8_t>(take(1)[0]); }
  std::uint16_t number() {
    const auto high = byte();
    return static_cast<std::uint16_t>(high << 8 | byte());
  }
  std::string text() { return std::string(take(number())); }
};

void read_body(field_reader body, unsigned flags, mqtt_packet& packet) {
  switch (packet.at) {
    case step::connect_received:
      body.text();
      packet.protocol_level = body.byte();
      packet.connect_flags = body.byte();
      body.number();  // keep-alive interval
      packet.client_id = body.text();
      return;
    case step::publish_received:
      packet.retain = (flags & 1) != 0;
      packet.qos = flags >> 1 & 3;
      packet.dup = (flags & 8) != 0;
      packet.topic = body.text();
      require(packet.qos < 3 && !packet.topic.empty() &&
              packet.topic.find_first_of("+#") == std::string::npos);
      packet.packet_id = packet.qos > 0 ? body.number() : std::uint16_t{0};
      packet.payload = body.rest;
      return;
    case step::subscribe_received:
    case step::unsubscribe_received:
      packet.packet_id = body.number();
      do {
        auto& request = packet.filters.emplace_back();
        request.filter = body.text();
        request.qos = packet.at == step::subscribe_received ? body.byte() : std::uint8_t{0};
        require(!request.filter.empty() && request.qos < 3);
      } while (!body.rest.empty());
      return;
    case step::pingreq_received:
    case step::disconnect_received:
      return;
    default:
      require(packet.at >= step::puback_received && packet.at <= step::pubcomp_received);
      packet.packet_id = body.number();
  }
}

void append_number(std::string& bytes, std::size_t number) {
  bytes += static_cast<char>(number >> 8);
  bytes += static_cast<char>(number & 0xff);
}

std::string encode_body(const mqtt_packet& packet) {
  std::string body;
  if (packet.at == step::connack_sent) {
    body += '\0';
  } else if (packet.at == step::publish_sent) {
    append_number(body, packet.topic.size());
    body += packet.topic;
  }
  const bool numbered = packet.at != step::connack_sent && packet.at != step::pingresp_sent &&
                        (packet.at != step::publish_sent || packet.qos > 0);
  if (numbered) {
    append_number(body, packet.packet_id);
  }
  body.append(packet.codes.begin(), packet.codes.end());
  return body += packet.payload;
}

}  // namespace

std::optional<mqtt_packet> take_packet(std::string_view& bytes) {
  std::size_t length = 0;
  std::size_t header = 1;
  for (bool more = true; more; ++header) {
    require(header <= 4);
    if (header >= bytes.size()) {
      return std::nullopt;
    }
    const auto digit = static_cast<unsigned char>(bytes[header]);
    length |= static_cast<std::size_t>(digit & 0x7f) << 7 * (header - 1);
    more = (digit & 0x80) != 0;
  }
  if (bytes.size() < header + length) {
    return std::nullopt;
  }
  const auto first = static_cast<unsigned char>(bytes[0]);
  mqtt_packet packet{.at = static_cast<step>(first >> 4)};
  read_body({bytes.substr(header, length)}, first & 0x0fU, packet);
  bytes.remove_prefix(header + length);
  return packet;
}

std::string encode(const mqtt_packet& packet) {
  unsigned flags = packet.at == step::pubrel_sent ? 2U : 0U;
  if (packet.at == step::publish_sent) {
    flags = (packet.retain ? 1U : 0U) | unsigned{packet.qos} << 1 | (packet.dup ? 8U : 0U);
  }
  const std::string body = encode_body(packet);
  std::string bytes(1, static_cast<char>(static_cast<unsigned>(packet.at) << 4 | flags));
  std::size_t length = body.size();
  do {
    bytes += static_cast<char>((length & 0x7f) | (length > 0x7f ? 0x80U : 0U));
    length >>= 7;
  } while (length > 0);
  return bytes + body;
}

}  // namespace kavu_test
