#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "helpers/fault_rule.hpp"
#include "helpers/mqtt_packet.hpp"

namespace kavu_test {

struct seen_packet {
  step at;
  std::string client_id;
  std::chrono::steady_clock::time_point time;
  /// Of a payload only the first `packet_record::payload_bytes`.
  mqtt_packet packet;
  std::size_t payload_size = 0;
};

/// What has gone through a broker: counters of everything, and the latest packets themselves.
/// One thread at a time.
class packet_record {
 public:
  static constexpr std::size_t capacity = 10'000;
  static constexpr std::size_t payload_bytes = 4'096;

  void add(step at, const std::string& client_id, const mqtt_packet& packet);
  void clear();

  std::size_t count(step at, std::string_view client) const;
  std::size_t subscribe_count(std::string_view filter) const;
  std::vector<seen_packet> packets(step at, std::string_view client, std::string_view topic) const;

 private:
  std::map<std::pair<step, std::string>, std::size_t> counts_ = {};
  std::map<std::string, std::size_t, std::less<>> subscribe_counts_ = {};
  std::deque<seen_packet> latest_ = {};
};

/// Whether a packet is about a topic of this shape; with the pattern `*` every packet is.
bool has_topic(const mqtt_packet& packet, std::string_view pattern);

}  // namespace kavu_test
