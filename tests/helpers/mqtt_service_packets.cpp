// What the scripted broker does with each packet of a client (MQTT 3.1.1 chapter 3 and 4).

#include <algorithm>

#include "helpers/mqtt_service.hpp"
#include "helpers/topic_match.hpp"

namespace kavu_test {
namespace {

constexpr std::uint8_t unacceptable_protocol_version = 1;
constexpr std::uint8_t identifier_rejected = 2;

}  // namespace

void mqtt_service::handle(session& from, const mqtt_packet& packet) {
  if (from.ended) {
    return;
  }
  if (from.connected == (packet.type == packet_type::connect)) {
    end(from);  // CONNECT comes first, and once
    return;
  }
  switch (packet.type) {
    case packet_type::connect:
      return handle_connect(from, packet);
    case packet_type::publish:
      return handle_publish(from, packet);
    case packet_type::puback:
    case packet_type::pubcomp:
      from.in_flight.erase(packet.packet_id);
      return deliver_waiting(from);
    case packet_type::pubrec:
      return answer(from, packet_type::pubrel, packet.packet_id);
    case packet_type::pubrel:
      from.unreleased.erase(packet.packet_id);
      return answer(from, packet_type::pubcomp, packet.packet_id);
    case packet_type::subscribe:
      return handle_subscribe(from, packet);
    case packet_type::unsubscribe:
      return handle_unsubscribe(from, packet);
    case packet_type::pingreq:
      return answer(from, packet_type::pingresp, 0);
    default:
      return end(from, false, false);  // DISCONNECT
  }
}

void mqtt_service::handle_connect(session& from, const mqtt_packet& packet) {
  std::uint8_t code = 0;
  if (packet.protocol_level != 3 && packet.protocol_level != 4) {
    code = unacceptable_protocol_version;
  } else if (packet.client_id.empty() && !packet.clean_session) {
    code = identifier_rejected;
  } else if (const auto refused =
                 faults_.find_refusal(step::connect_received, from.client_id, packet)) {
    code = *refused;
  }
  if (code != 0) {
    send(from, {.type = packet_type::connack, .codes = {code}});
    end(from);
    return;
  }
  for (auto& [connection, other] : sessions_) {
    if (other.connected && other.client_id == from.client_id) {
      end(other);
    }
  }
  from.connected = true;
  from.will = packet.will;
  from.patience = std::chrono::milliseconds(packet.keep_alive_s * 1500);
  watch_keep_alive(from.connection);
  send(from, {.type = packet_type::connack, .codes = {0}});
}

void mqtt_service::handle_publish(session& from, const mqtt_packet& packet) {
  const bool refused =
      faults_.find_refusal(step::publish_received, from.client_id, packet).has_value();
  const bool first = packet.qos < 2 || from.unreleased.insert(packet.packet_id).second;
  if (first && !refused) {
    route(packet);
  }
  if (packet.qos > 0) {
    answer(from, packet.qos == 1 ? packet_type::puback : packet_type::pubrec, packet.packet_id);
  }
}

void mqtt_service::handle_subscribe(session& from, const mqtt_packet& packet) {
  mqtt_packet reply{.type = packet_type::suback, .packet_id = packet.packet_id};
  std::vector<topic_request> granted;
  for (const auto& request : packet.filters) {
    const mqtt_packet alone{.type = packet_type::subscribe, .filters = {request}};
    const auto refused = faults_.find_refusal(step::subscribe_received, from.client_id, alone);
    reply.codes.push_back(refused.value_or(request.qos));
    if (!refused) {
      from.filters.insert_or_assign(request.filter, request.qos);
      granted.push_back(request);
    }
  }
  if (retained_before_suback_) {
    deliver_retained(from, granted);
    send(from, reply);
  } else {
    send(from, reply);
    deliver_retained(from, granted);
  }
}

void mqtt_service::handle_unsubscribe(session& from, const mqtt_packet& packet) {
  for (const auto& request : packet.filters) {
    from.filters.erase(request.filter);
  }
  answer(from, packet_type::unsuback, packet.packet_id);
}

void mqtt_service::answer(session& to, packet_type type, std::uint16_t packet_id) {
  send(to, {.type = type, .packet_id = packet_id});
}

void mqtt_service::route(const mqtt_packet& message) {
  if (message.retain && message.payload.empty()) {
    retained_.erase(message.topic);
  } else if (message.retain) {
    retained_[message.topic] = message;
  }
  for (auto& [connection, to] : sessions_) {
    if (!to.connected) {
      continue;
    }
    std::vector<std::uint8_t> levels;
    for (const auto& [filter, qos] : to.filters) {
      if (topic_matches(filter, message.topic)) {
        levels.push_back(qos);
      }
    }
    if (!deliver_for_each_filter_ && !levels.empty()) {
      levels = {*std::max_element(levels.begin(), levels.end())};
    }
    for (const auto qos : levels) {
      deliver(to, message, qos, false);
    }
  }
}

void mqtt_service::deliver_retained(session& to, const std::vector<topic_request>& filters) {
  for (const auto& request : filters) {
    for (const auto& [topic, message] : retained_) {
      if (topic_matches(request.filter, topic)) {
        deliver(to, message, request.qos, true);
      }
    }
  }
}

void mqtt_service::deliver(session& to, mqtt_packet message, std::uint8_t granted_qos,
                           bool retained) {
  message.qos = std::min(message.qos, granted_qos);
  message.retain = retained;
  message.dup = false;
  message.packet_id = 0;
  to.waiting.push_back(std::move(message));
  deliver_waiting(to);
}

void mqtt_service::deliver_waiting(session& to) {
  constexpr std::size_t most_in_flight = 60'000;
  while (!to.ended && !to.waiting.empty() && to.in_flight.size() < most_in_flight) {
    mqtt_packet message = std::move(to.waiting.front());
    to.waiting.pop_front();
    if (message.qos > 0) {
      do {
        message.packet_id = ++to.last_packet_id;
      } while (message.packet_id == 0 || !to.in_flight.insert(message.packet_id).second);
    }
    send(to, message);
  }
}

}  // namespace kavu_test
