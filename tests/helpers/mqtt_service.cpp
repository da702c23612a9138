#include "helpers/mqtt_service.hpp"

#include <fnmatch.h>
#include <mosquitto.h>

#include <algorithm>
#include <stdexcept>

namespace kavu_test {
namespace {

constexpr std::size_t most_packets_kept = 10'000;
constexpr std::size_t most_payload_kept = 4'096;

bool belongs_to(const std::string& filter, const std::string& topic) {
  bool matches = false;
  mosquitto_topic_matches_sub2(filter.data(), filter.size(), topic.data(), topic.size(), &matches);
  return matches;
}

template <class... Functions>
struct overloaded : Functions... {
  using Functions::operator()...;
};
template <class... Functions>
overloaded(Functions...) -> overloaded<Functions...>;  // older clang does not find it by itself

}  // namespace

bool matches_pattern(std::string_view pattern, std::string_view text) {
  return pattern == "*" ||
         ::fnmatch(std::string(pattern).c_str(), std::string(text).c_str(), FNM_NOESCAPE) == 0;
}

bool is_about(const mqtt_packet& packet, std::string_view pattern) {
  return pattern == "*" || (!packet.topic.empty() && matches_pattern(pattern, packet.topic)) ||
         std::any_of(packet.filters.begin(), packet.filters.end(),
                     [&](const auto& request) { return matches_pattern(pattern, request.filter); });
}

void mqtt_service::opened(session& client) {
  pass(client, {.at = step::accepted});
}

void mqtt_service::received(session& client) {
  if (!client.greeted) {
    return;
  }
  std::string_view rest = client.input;
  try {
    while (auto packet = client.ended ? std::nullopt : take_packet(rest)) {
      if (packet->at == step::connect_received && !client.connected) {
        client.client_id = packet->client_id;
      }
      record(client, *packet);
      pass(client, std::move(*packet));
    }
    client.input.erase(0, client.input.size() - rest.size());
  } catch (const std::runtime_error&) {
    end(client);
  }
}

void mqtt_service::pass(session& of, mqtt_packet packet) {
  if (of.ended) {
    return;
  }
  if (auto* fault = find_fault(of, packet)) {
    ++fault->applied;
    apply(*fault, of, std::move(packet));
  } else {
    act(of, packet);
  }
}

mqtt_service::rule_state* mqtt_service::find_fault(const session& of, const mqtt_packet& packet) {
  const auto found = std::find_if(rules.begin(), rules.end(), [&](const rule_state& each) {
    return each.active && each.rule.at == packet.at && each.applied < each.rule.times &&
           matches_pattern(each.rule.client, of.client_id) && is_about(packet, each.rule.topic);
  });
  return found == rules.end() ? nullptr : &*found;
}

void mqtt_service::apply(rule_state& fault, session& of, mqtt_packet packet) {
  std::visit(overloaded{
                 [&](const fault::withhold&) { of.ignored = of.ignored || !of.greeted; },
                 [&](const fault::hold&) { fault.held.push_back(later(of, packet)); },
                 [&](const fault::delay& delay) { after(delay.by, later(of, packet)); },
                 [&](const fault::close& close) { end(of, close.reset); },
                 [&](const fault::close_after& close) {
                   act(of, packet);
                   end(of, close.reset);
                 },
                 [&](const fault::refuse& refuse) {
                   packet.refusal = refuse.code;
                   act(of, packet);
                 },
                 [&](const fault::corrupt&) {
                   if (!packet.payload.empty()) {
                     packet.payload[packet.payload.size() / 2] ^= 1;
                   }
                   act(of, packet);
                 },
                 [&](const fault::repeat& repeat) {
                   act(of, packet);
                   packet.dup = packet.qos > 0;
                   for (int i = 0; i < repeat.more; ++i) {
                     packet.at == step::publish_received ? route(packet) : act(of, packet);
                   }
                 },
                 [&](const fault::replace& replace) { send(of, replace.bytes); },
             },
             fault.rule.action);
}

std::function<void()> mqtt_service::later(const session& of, mqtt_packet packet) {
  return [this, id = of.id, kept = std::move(packet)] {
    if (const auto found = sessions_.find(id); found != sessions_.end()) {
      act(found->second, kept);
    }
  };
}

void mqtt_service::act(session& of, const mqtt_packet& packet) {
  if (of.ended) {
    return;
  }
  if (packet.at == step::accepted) {
    of.greeted = true;
    received(of);
  } else if (packet.at >= step::connack_sent) {
    record(of, packet);
    send(of, encode(packet));
  } else {
    handle(of, packet);
  }
}

void mqtt_service::handle(session& from, const mqtt_packet& packet) {
  const auto answer = [&](step at) { pass(from, {.at = at, .packet_id = packet.packet_id}); };
  if (from.connected == (packet.at == step::connect_received)) {
    return end(from);  // CONNECT comes first, and once
  }
  switch (packet.at) {
    case step::connect_received:
      return handle_connect(from, packet);
    case step::publish_received:
      return handle_publish(from, packet);
    case step::pubrec_received:
      return answer(step::pubrel_sent);
    case step::pubrel_received:
      return answer(step::pubcomp_sent);
    case step::subscribe_received:
      return handle_subscribe(from, packet);
    case step::unsubscribe_received:
      for (const auto& request : packet.filters) {
        from.filters.erase(request.filter);
      }
      return answer(step::unsuback_sent);
    case step::pingreq_received:
      return answer(step::pingresp_sent);
    case step::disconnect_received:
      return end(from);
    default:
      return;
  }
}

void mqtt_service::handle_connect(session& from, const mqtt_packet& packet) {
  if (packet.refusal) {
    pass(from, {.at = step::connack_sent, .codes = {*packet.refusal}});
    return end(from);
  }
  for (auto& [id, other] : sessions_) {
    if (other.connected && !from.client_id.empty() && other.client_id == from.client_id) {
      end(other);
    }
  }
  from.connected = true;
  pass(from, {.at = step::connack_sent, .codes = {0}});
}

void mqtt_service::handle_publish(session& from, const mqtt_packet& packet) {
  if (!packet.refusal) {
    route(packet);
  }
  if (packet.qos > 0) {
    pass(from, {.at = packet.qos == 1 ? step::puback_sent : step::pubrec_sent,
                .packet_id = packet.packet_id});
  }
}

void mqtt_service::handle_subscribe(session& from, const mqtt_packet& packet) {
  mqtt_packet reply{.at = step::suback_sent, .packet_id = packet.packet_id};
  for (const auto& request : packet.filters) {
    reply.codes.push_back(packet.refusal.value_or(request.qos));
    if (!packet.refusal) {
      from.filters.insert_or_assign(request.filter, request.qos);
    }
  }
  if (!retained_before_suback) {
    pass(from, reply);
  }
  for (const auto& request : packet.filters) {
    for (const auto& [topic, message] : retained_) {
      if (!packet.refusal && belongs_to(request.filter, topic)) {
        deliver(from, message, request.qos, true);
      }
    }
  }
  if (retained_before_suback) {
    pass(from, reply);
  }
}

void mqtt_service::route(const mqtt_packet& message) {
  if (message.retain && message.payload.empty()) {
    retained_.erase(message.topic);
  } else if (message.retain) {
    retained_[message.topic] = message;
  }
  for (auto& [id, to] : sessions_) {
    std::vector<std::uint8_t> levels;
    for (const auto& [filter, qos] : to.filters) {
      if (to.connected && belongs_to(filter, message.topic)) {
        levels.push_back(qos);
      }
    }
    if (!deliver_for_each_filter && !levels.empty()) {
      levels = {*std::max_element(levels.begin(), levels.end())};
    }
    for (const auto qos : levels) {
      deliver(to, message, qos, false);
    }
  }
}

void mqtt_service::deliver(session& to, mqtt_packet message, std::uint8_t granted_qos,
                           bool retained) {
  message.at = step::publish_sent;
  message.qos = std::min(message.qos, granted_qos);
  message.retain = retained;
  message.dup = false;
  if (message.qos > 0) {
    to.last_packet_id = static_cast<std::uint16_t>(to.last_packet_id % 0xffff + 1);
  }
  message.packet_id = to.last_packet_id;
  pass(to, std::move(message));
}

void mqtt_service::record(const session& of, const mqtt_packet& packet) {
  ++counts[{packet.at, of.client_id}];
  if (latest.size() == most_packets_kept) {
    latest.pop_front();
  }
  latest.push_back(
      {packet.at, of.client_id, std::chrono::steady_clock::now(), packet, packet.payload.size()});
  if (auto& payload = latest.back().packet.payload; payload.size() > most_payload_kept) {
    payload = payload.substr(0, most_payload_kept);
  }
}

}  // namespace kavu_test
