#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <variant>

#include "helpers/mqtt_packet.hpp"

namespace kavu_test {

/// Everything that happens between a broker and its clients, seen from the broker.
enum class step {
  accepted,  ///< A TCP connection, before anything is known of the client.
  connect_received,
  connack_sent,
  publish_received,
  puback_sent,
  pubrec_sent,
  pubrel_received,
  pubcomp_sent,
  publish_sent,
  puback_received,
  pubrec_received,
  pubrel_sent,
  pubcomp_received,
  subscribe_received,
  suback_sent,
  unsubscribe_received,
  unsuback_sent,
  pingreq_received,
  pingresp_sent,
  disconnect_received
};

step received_step(packet_type type);
step sent_step(packet_type type);

/// What a scripted broker can do instead of what it should.
namespace fault {

/// A received packet is not acted upon, a packet to send is not sent. At `step::accepted` the
/// connection stays open and is ignored for good.
struct withhold {};
/// The same until `scripted_broker::release()`; then it goes on as if nothing had been.
struct hold {};
/// The packet goes on its way later. Others overtake it meanwhile.
struct delay {
  std::chrono::milliseconds by;
};
/// Instead of the packet the connection ends; with `reset` hard (RST).
struct close {
  bool reset = false;
};
/// The packet goes on its way, then the connection ends.
struct close_after {
  bool reset = false;
};
/// `connect_received`: a CONNACK with this code (1 to 5), then the connection ends.
/// `subscribe_received`: the filter gets this code (128) and is not subscribed; the others of the
/// packet are. `publish_received`: acknowledged and thrown away (no code). Nothing elsewhere.
struct refuse {
  std::uint8_t code = 0x80;
};
/// One bit of a PUBLISH's payload is turned over; an empty one becomes one byte.
struct corrupt {};
/// So many times more. At `publish_sent` it is the same packet again, with DUP set from quality of
/// service 1 on; at `publish_received` every subscriber is sent one more message.
struct repeat {
  int more = 1;
};
/// These bytes are sent instead of the packet (or instead of acting upon it).
struct replace {
  std::string bytes;
};

}  // namespace fault

using fault_action =
    std::variant<fault::withhold, fault::hold, fault::delay, fault::close, fault::close_after,
                 fault::refuse, fault::corrupt, fault::repeat, fault::replace>;

/// Which packets go wrong, and how. Patterns know `*` (any text) and `?` (one character).
struct fault_rule {
  step at;
  fault_action action;
  /// Pattern of the client id; ids are unknown at `step::accepted`.
  std::string client = "*";
  /// Pattern of the topic of a PUBLISH, of a filter in SUBSCRIBE and UNSUBSCRIBE. A rule with one
  /// never means packets without topic.
  std::string topic = "*";
  /// The first so many such packets go right.
  std::size_t skip = 0;
  /// The next so many go wrong.
  std::size_t times = std::numeric_limits<std::size_t>::max();
};

}  // namespace kavu_test
