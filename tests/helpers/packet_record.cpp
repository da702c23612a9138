#include "helpers/packet_record.hpp"

#include <algorithm>

#include "helpers/topic_match.hpp"

namespace kavu_test {

void packet_record::add(step at, const std::string& client_id, const mqtt_packet& packet) {
  ++counts_[{at, client_id}];
  if (at == step::subscribe_received) {
    for (const auto& request : packet.filters) {
      ++subscribe_counts_[request.filter];
    }
  }
  if (latest_.size() == capacity) {
    latest_.pop_front();
  }
  seen_packet seen{.at = at,
                   .client_id = client_id,
                   .time = std::chrono::steady_clock::now(),
                   .packet = {},
                   .payload_size = packet.payload.size()};
  if (packet.payload.size() <= payload_bytes) {
    seen.packet = packet;
  } else {
    seen.packet = {.type = packet.type,
                   .packet_id = packet.packet_id,
                   .topic = packet.topic,
                   .payload = packet.payload.substr(0, payload_bytes),
                   .qos = packet.qos,
                   .retain = packet.retain,
                   .dup = packet.dup};
  }
  latest_.push_back(std::move(seen));
}

void packet_record::clear() {
  counts_.clear();
  subscribe_counts_.clear();
  latest_.clear();
}

std::size_t packet_record::count(step at, std::string_view client) const {
  std::size_t sum = 0;
  for (const auto& [key, number] : counts_) {
    sum += key.first == at && matches_pattern(client, key.second) ? number : 0;
  }
  return sum;
}

std::size_t packet_record::subscribe_count(std::string_view filter) const {
  const auto found = subscribe_counts_.find(filter);
  return found == subscribe_counts_.end() ? 0 : found->second;
}

std::vector<seen_packet> packet_record::packets(step at, std::string_view client,
                                                std::string_view topic) const {
  std::vector<seen_packet> found;
  std::copy_if(latest_.begin(), latest_.end(), std::back_inserter(found),
               [&](const seen_packet& seen) {
                 return seen.at == at && matches_pattern(client, seen.client_id) &&
                        has_topic(seen.packet, topic);
               });
  return found;
}

bool has_topic(const mqtt_packet& packet, std::string_view pattern) {
  if (pattern == "*") {
    return true;
  }
  if (packet.type == packet_type::publish) {
    return matches_pattern(pattern, packet.topic);
  }
  return std::any_of(
      packet.filters.begin(), packet.filters.end(),
      [&](const topic_request& request) { return matches_pattern(pattern, request.filter); });
}

}  // namespace kavu_test
