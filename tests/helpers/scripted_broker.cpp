#include "helpers/scripted_broker.hpp"

#include <algorithm>
#include <iterator>

#include "helpers/mqtt_service.hpp"

namespace kavu_test {

scripted_broker::scripted_broker() : service_(std::make_unique<mqtt_service>()) {}

scripted_broker::~scripted_broker() = default;

std::uint16_t scripted_broker::port() const noexcept {
  return service_->port();
}

fault_id scripted_broker::add(fault_rule rule) {
  return service_->call([&] {
    service_->rules.push_back({.rule = std::move(rule)});
    return service_->rules.size();
  });
}

void scripted_broker::release(fault_id rule) {
  service_->call([&] {
    auto& released = service_->rules.at(rule - 1);
    released.active = false;
    for (const auto& task : std::exchange(released.held, {})) {
      task();
    }
  });
}

void scripted_broker::release_all() {
  const auto rules = service_->call([&] {
    for (auto& each : service_->rules) {
      each.active = false;
    }
    return service_->rules.size();
  });
  for (fault_id rule = 1; rule <= rules; ++rule) {
    release(rule);
  }
}

std::size_t scripted_broker::applied(fault_id rule) const {
  return service_->call([&] { return service_->rules.at(rule - 1).applied; });
}

bool scripted_broker::wait_for_fault(fault_id rule, std::size_t times) const {
  return eventually([&] { return applied(rule) >= times; });
}

void scripted_broker::deliver_retained_before_suback(bool on) {
  service_->call([&] { service_->retained_before_suback = on; });
}

void scripted_broker::deliver_for_each_filter(bool on) {
  service_->call([&] { service_->deliver_for_each_filter = on; });
}

void scripted_broker::publish(std::string_view topic, std::string_view payload, int qos,
                              bool retain) {
  service_->call([&] {
    service_->route({.at = step::publish_received,
                     .topic = std::string(topic),
                     .payload = std::string(payload),
                     .qos = static_cast<std::uint8_t>(qos),
                     .retain = retain});
  });
}

void scripted_broker::drop(std::string_view client, bool reset) {
  service_->call([&] {
    for (auto& [id, of] : service_->sessions()) {
      if (matches_pattern(client, of.client_id)) {
        service_->end(of, reset);
      }
    }
  });
}

void scripted_broker::pause() {
  service_->call([&] { service_->set_paused(true); });
}

void scripted_broker::resume() {
  service_->call([&] { service_->set_paused(false); });
}

void scripted_broker::stop_listening() {
  service_->call([&] { service_->set_listening(false); });
}

void scripted_broker::start_listening() {
  service_->call([&] { service_->set_listening(true); });
}

std::vector<std::string> scripted_broker::connected_clients() const {
  return service_->call([&] {
    std::vector<std::string> ids;
    for (const auto& [id, of] : service_->sessions()) {
      if (of.connected) {
        ids.push_back(of.client_id);
      }
    }
    return ids;
  });
}

std::size_t scripted_broker::open_connections() const {
  return service_->call([&] {
    const auto& all = service_->sessions();
    const auto ended =
        std::count_if(all.begin(), all.end(), [](const auto& entry) { return entry.second.ended; });
    return all.size() - static_cast<std::size_t>(ended);
  });
}

std::vector<broker_subscription> scripted_broker::subscriptions() const {
  return service_->call([&] {
    std::vector<broker_subscription> all;
    for (const auto& [id, of] : service_->sessions()) {
      for (const auto& [filter, qos] : of.filters) {
        if (of.connected) {
          all.push_back({of.client_id, filter, qos});
        }
      }
    }
    return all;
  });
}

std::size_t scripted_broker::count(step at, std::string_view client) const {
  return service_->call([&] {
    std::size_t sum = 0;
    for (const auto& [key, number] : service_->counts) {
      sum += key.first == at && matches_pattern(client, key.second) ? number : 0;
    }
    return sum;
  });
}

std::size_t scripted_broker::subscribe_count(std::string_view filter) const {
  return packets(step::subscribe_received, "*", filter).size();
}

std::vector<seen_packet> scripted_broker::packets(step at, std::string_view client,
                                                  std::string_view topic) const {
  return service_->call([&] {
    std::vector<seen_packet> found;
    std::copy_if(service_->latest.begin(), service_->latest.end(), std::back_inserter(found),
                 [&](const seen_packet& seen) {
                   return seen.at == at && matches_pattern(client, seen.client_id) &&
                          is_about(seen.packet, topic);
                 });
    return found;
  });
}

void scripted_broker::forget_packets() {
  service_->call([&] {
    service_->counts.clear();
    service_->latest.clear();
  });
}

bool scripted_broker::wait_for_count(step at, std::size_t expected, std::string_view client) const {
  return eventually([&] { return count(at, client) >= expected; });
}

bool scripted_broker::wait_for_clients(std::size_t expected, std::string_view client) const {
  return eventually([&] {
    const auto ids = connected_clients();
    return static_cast<std::size_t>(std::count_if(ids.begin(), ids.end(), [&](const auto& id) {
             return matches_pattern(client, id);
           })) == expected;
  });
}

bool scripted_broker::wait_for_subscription(std::string_view filter) const {
  return eventually([&] {
    const auto all = subscriptions();
    return std::any_of(all.begin(), all.end(),
                       [&](const auto& held) { return held.filter == filter; });
  });
}

}  // namespace kavu_test
