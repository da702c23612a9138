#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <variant>

#include "helpers/mqtt_packet.hpp"

namespace kavu_test {

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
/// `connect_received`: a CONNACK with this code, then the connection ends. `subscribe_received`:
/// nothing is subscribed, each filter gets this code. `publish_received`: acknowledged and thrown
/// away. Nothing elsewhere.
struct refuse {
  std::uint8_t code = 0x80;
};
/// One bit of a PUBLISH's payload is turned over.
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
  /// The first so many such packets go wrong.
  std::size_t times = std::numeric_limits<std::size_t>::max();
};

/// What a scripted broker has received or sent.
struct seen_packet {
  step at;
  std::string client_id;
  std::chrono::steady_clock::time_point time;
  /// Of a payload only the first 4096 bytes.
  mqtt_packet packet;
  std::size_t payload_size = 0;
};

}  // namespace kavu_test
