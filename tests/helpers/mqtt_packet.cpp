#include "helpers/mqtt_packet.hpp"

#include "helpers/topic_match.hpp"

namespace kavu_test {
namespace {

/// Takes fields off the front of a packet's body.
class field_reader {
 public:
  explicit field_reader(std::string_view bytes) : rest_(bytes) {}

  std::uint8_t byte() { return static_cast<std::uint8_t>(take(1)[0]); }

  std::uint16_t number() {
    const auto high = byte();
    return static_cast<std::uint16_t>(high << 8 | byte());
  }

  std::string text() {
    const auto size = number();
    return std::string(take(size));
  }

  std::string_view take(std::size_t size) {
    if (rest_.size() < size) {
      throw malformed_packet("a field reaches beyond its packet");
    }
    const auto taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  std::string_view all() { return take(rest_.size()); }
  bool at_end() const { return rest_.empty(); }

 private:
  std::string_view rest_;
};

void read_connect(field_reader& body, mqtt_packet& packet) {
  const std::string protocol = body.text();
  packet.protocol_level = body.byte();
  if (protocol != "MQTT" && protocol != "MQIsdp") {
    throw malformed_packet("unknown protocol");
  }
  const std::uint8_t flags = body.byte();
  packet.clean_session = (flags & 0x02) != 0;
  packet.keep_alive_s = body.number();
  packet.client_id = body.text();
  if ((flags & 0x04) != 0) {
    will_message will;
    will.topic = body.text();
    will.payload = body.text();
    will.qos = (flags >> 3) & 3;
    will.retain = (flags & 0x20) != 0;
    packet.will = will;
  }
  if ((flags & 0x80) != 0) {
    packet.user = body.text();
  }
  if ((flags & 0x40) != 0) {
    packet.password = body.text();
  }
}

void read_publish(field_reader& body, std::uint8_t flags, mqtt_packet& packet) {
  packet.retain = (flags & 0x01) != 0;
  packet.qos = (flags >> 1) & 3;
  packet.dup = (flags & 0x08) != 0;
  if (packet.qos == 3) {
    throw malformed_packet("quality of service 3");
  }
  packet.topic = body.text();
  if (packet.topic.empty() || packet.topic.find_first_of("+#") != std::string::npos) {
    throw malformed_packet("a topic that cannot be published to");
  }
  packet.packet_id = packet.qos > 0 ? body.number() : std::uint16_t{0};
  packet.payload = body.all();
}

void read_filters(field_reader& body, bool with_qos, mqtt_packet& packet) {
  packet.packet_id = body.number();
  do {
    topic_request request;
    request.filter = body.text();
    request.qos = with_qos ? body.byte() : std::uint8_t{0};
    if (request.filter.empty() || !is_topic_filter(request.filter) || request.qos > 2) {
      throw malformed_packet("an impossible filter or quality of service");
    }
    packet.filters.push_back(request);
  } while (!body.at_end());
}

void read_body(field_reader body, std::uint8_t flags, mqtt_packet& packet) {
  switch (packet.type) {
    case packet_type::connect:
      return read_connect(body, packet);
    case packet_type::publish:
      return read_publish(body, flags, packet);
    case packet_type::puback:
    case packet_type::pubrec:
    case packet_type::pubrel:
    case packet_type::pubcomp:
      packet.packet_id = body.number();
      return;
    case packet_type::subscribe:
      return read_filters(body, true, packet);
    case packet_type::unsubscribe:
      return read_filters(body, false, packet);
    case packet_type::pingreq:
    case packet_type::disconnect:
      return;
    default:
      throw malformed_packet("not a packet of a client");
  }
}

void append_number(std::string& bytes, std::size_t number) {
  bytes += static_cast<char>(number >> 8 & 0xff);
  bytes += static_cast<char>(number & 0xff);
}

std::string encode_body(const mqtt_packet& packet) {
  std::string body;
  switch (packet.type) {
    case packet_type::connack:
      body += '\0';
      body += static_cast<char>(packet.codes.empty() ? 0 : packet.codes.front());
      break;
    case packet_type::publish:
      body.reserve(packet.topic.size() + packet.payload.size() + 4);
      append_number(body, packet.topic.size());
      body += packet.topic;
      if (packet.qos > 0) {
        append_number(body, packet.packet_id);
      }
      body += packet.payload;
      break;
    case packet_type::pingresp:
      break;
    default:
      append_number(body, packet.packet_id);
      for (const auto code : packet.codes) {
        body += static_cast<char>(code);
      }
  }
  return body;
}

}  // namespace

std::optional<decoded_packet> decode(std::string_view bytes) {
  if (bytes.empty()) {
    return std::nullopt;
  }
  std::size_t length = 0;
  std::size_t header = 1;
  for (unsigned shift = 0;; shift += 7, ++header) {
    if (shift > 21) {
      throw malformed_packet("a length of more than four bytes");
    }
    if (header >= bytes.size()) {
      return std::nullopt;
    }
    const auto digit = static_cast<std::uint8_t>(bytes[header]);
    length |= static_cast<std::size_t>(digit & 0x7f) << shift;
    if ((digit & 0x80) == 0) {
      break;
    }
  }
  ++header;
  if (bytes.size() < header + length) {
    return std::nullopt;
  }
  const auto first = static_cast<std::uint8_t>(bytes[0]);
  decoded_packet decoded;
  decoded.packet.type = static_cast<packet_type>(first >> 4);
  decoded.size = header + length;
  read_body(field_reader(bytes.substr(header, length)), first & 0x0f, decoded.packet);
  return decoded;
}

std::string encode(const mqtt_packet& packet) {
  const std::string body = encode_body(packet);
  unsigned flags = packet.type == packet_type::pubrel ? 2U : 0U;
  if (packet.type == packet_type::publish) {
    flags = (packet.retain ? 1U : 0U) | unsigned{packet.qos} << 1 | (packet.dup ? 8U : 0U);
  }
  std::string bytes;
  bytes.reserve(body.size() + 5);
  bytes += static_cast<char>(static_cast<unsigned>(packet.type) << 4 | flags);
  std::size_t length = body.size();
  do {
    const std::size_t digit = length & 0x7f;
    length >>= 7;
    bytes += static_cast<char>(digit | (length > 0 ? 0x80U : 0U));
  } while (length > 0);
  return bytes + body;
}

}  // namespace kavu_test
