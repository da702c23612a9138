#include "helpers/mqtt_service.hpp"

#include <utility>

#include "helpers/topic_match.hpp"

namespace kavu_test {

mqtt_service::mqtt_service(std::function<void()> on_change)
    : on_change_(std::move(on_change)), server_(*this) {
  server_.start();
}

void mqtt_service::opened(connection_id connection) {
  auto& opened_session = sessions_[connection];
  opened_session.connection = connection;
  pass(opened_session, step::accepted, {}, &mqtt_service::greet);
  on_change_();
}

void mqtt_service::greet(session& with, const mqtt_packet& /*packet*/) {
  with.greeted = true;
  server_.redeliver(with.connection);
}

void mqtt_service::received(connection_id connection, std::string& bytes) {
  session* from = find(connection);
  if (from == nullptr || from->ignored) {
    bytes.clear();
    return;
  }
  if (!from->greeted) {
    return;
  }
  from->last_sign_of_life = std::chrono::steady_clock::now();
  // Acting upon a packet may end the connection, and `bytes` with it: first take all packets out.
  std::vector<mqtt_packet> packets;
  bool malformed = false;
  try {
    std::size_t taken = 0;
    while (auto decoded = decode(std::string_view(bytes).substr(taken))) {
      packets.push_back(std::move(decoded->packet));
      taken += decoded->size;
    }
    bytes.erase(0, taken);
  } catch (const malformed_packet&) {
    malformed = true;
  }
  for (auto& packet : packets) {
    if (from->ended) {
      break;
    }
    if (packet.type == packet_type::connect && !from->connected) {
      from->client_id = packet.client_id.empty() ? "nameless-" + std::to_string(++named_clients_)
                                                 : packet.client_id;
    }
    const step at = received_step(packet.type);
    record_.add(at, from->client_id, packet);
    pass(*from, at, std::move(packet), &mqtt_service::handle);
  }
  if (malformed) {
    end(*from);
  }
  on_change_();
}

void mqtt_service::closed(connection_id connection) {
  if (session* gone = find(connection)) {
    end(*gone);
  }
}

mqtt_service::session* mqtt_service::find(connection_id connection) {
  const auto found = sessions_.find(connection);
  return found == sessions_.end() || found->second.ended ? nullptr : &found->second;
}

void mqtt_service::end(session& of, bool reset, bool with_will) {
  if (std::exchange(of.ended, true)) {
    return;
  }
  const bool was_connected = std::exchange(of.connected, false);
  server_.close(of.connection, reset);
  server_.after(std::chrono::milliseconds(0),
                [this, connection = of.connection] { sessions_.erase(connection); });
  if (was_connected && with_will && of.will) {
    route({.type = packet_type::publish,
           .topic = of.will->topic,
           .payload = of.will->payload,
           .qos = of.will->qos,
           .retain = of.will->retain});
  }
  on_change_();
}

// MQTT 3.1.1 section 3.1.2.10: one and a half times the interval without a packet is the end.
void mqtt_service::watch_keep_alive(connection_id connection) {
  session* watched = find(connection);
  if (watched == nullptr || watched->patience.count() == 0) {
    return;
  }
  const auto silent_for = std::chrono::floor<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - watched->last_sign_of_life);
  if (silent_for >= watched->patience) {
    end(*watched);
    return;
  }
  server_.after(watched->patience - silent_for,
                [this, connection] { watch_keep_alive(connection); });
}

void mqtt_service::pass(session& of, step at, mqtt_packet packet, stage next) {
  if (const auto fault = faults_.find(at, of.client_id, packet)) {
    apply(*fault, of, std::move(packet), next);
  } else {
    (this->*next)(of, packet);
  }
}

namespace {

template <class... Functions>
struct overloaded : Functions... {
  using Functions::operator()...;
};
template <class... Functions>
overloaded(Functions...) -> overloaded<Functions...>;  // older clang does not find it by itself

void turn_one_bit(std::string& payload) {
  if (payload.empty()) {
    payload = "?";
  } else {
    payload[payload.size() / 2] ^= 1;
  }
}

}  // namespace

void mqtt_service::apply(const fault_table::match& fault, session& of, mqtt_packet packet,
                         stage next) {
  const auto go_on = [&] { (this->*next)(of, packet); };
  std::visit(
      overloaded{
          [&](const fault::withhold&) { of.ignored = of.ignored || !of.greeted; },
          [&](const fault::hold&) { faults_.hold(fault.rule, later(of.connection, packet, next)); },
          [&](const fault::delay& delay) {
            server_.after(delay.by, later(of.connection, packet, next));
          },
          [&](const fault::close& close) { end(of, close.reset); },
          [&](const fault::close_after& close) {
            go_on();
            end(of, close.reset);
          },
          [&](const fault::refuse&) { go_on(); },
          [&](const fault::corrupt&) {
            turn_one_bit(packet.payload);
            go_on();
          },
          [&](const fault::repeat& repeat) {
            go_on();
            packet.dup = packet.qos > 0;
            for (int i = 0; i < repeat.more; ++i) {
              // What was received is not handled again: its identifier would be known by then.
              next == &mqtt_service::handle&& packet.type == packet_type::publish ? route(packet)
                                                                                  : go_on();
            }
          },
          [&](const fault::replace& replace) { server_.send(of.connection, replace.bytes); },
      },
      fault.action);
  on_change_();
}

std::function<void()> mqtt_service::later(connection_id connection, mqtt_packet packet,
                                          stage next) {
  return [this, connection, kept = std::move(packet), next] {
    if (session* found = find(connection)) {
      (this->*next)(*found, kept);
      on_change_();
    }
  };
}

void mqtt_service::send(session& to, const mqtt_packet& packet) {
  if (!to.ended) {
    pass(to, sent_step(packet.type), packet, &mqtt_service::transmit);
  }
}

void mqtt_service::transmit(session& to, const mqtt_packet& packet) {
  if (!to.ended) {
    record_.add(sent_step(packet.type), to.client_id, packet);
    server_.send(to.connection, encode(packet));
    on_change_();
  }
}

void mqtt_service::send_bytes(std::string_view client, std::string_view bytes) {
  for (const auto& [connection, of] : sessions_) {
    if (!of.ended && matches_pattern(client, of.client_id)) {
      server_.send(connection, bytes);
    }
  }
}

void mqtt_service::drop(std::string_view client, bool reset) {
  for (auto& [connection, of] : sessions_) {
    if (matches_pattern(client, of.client_id)) {
      end(of, reset);
    }
  }
}

std::vector<std::string> mqtt_service::connected_clients() const {
  std::vector<std::string> ids;
  for (const auto& [connection, of] : sessions_) {
    if (of.connected) {
      ids.push_back(of.client_id);
    }
  }
  return ids;
}

std::vector<broker_subscription> mqtt_service::subscriptions() const {
  std::vector<broker_subscription> all;
  for (const auto& [connection, of] : sessions_) {
    for (const auto& [filter, qos] : of.filters) {
      if (of.connected) {
        all.push_back({of.client_id, filter, qos});
      }
    }
  }
  return all;
}

}  // namespace kavu_test
