#include "helpers/scripted_broker.hpp"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include "helpers/mqtt_service.hpp"
#include "helpers/topic_match.hpp"

namespace kavu_test {

struct scripted_broker::implementation {
  implementation()
      : service([this] {
          const std::lock_guard lock(mutex);
          ++version;
          changed.notify_all();
        }) {}

  std::mutex mutex;
  std::condition_variable changed;
  std::size_t version = 0;  // grows with everything that happens
  mqtt_service service;
};

scripted_broker::scripted_broker()
    : implementation_(std::make_unique<implementation>()),
      port_(implementation_->service.server().port()) {}

scripted_broker::~scripted_broker() = default;

template <class Function>
auto scripted_broker::run(Function function) const {
  auto& service = implementation_->service;
  return service.server().call([&] { return function(service); });
}

fault_id scripted_broker::add(fault_rule rule) {
  return run([&](mqtt_service& service) { return service.faults().add(std::move(rule)); });
}

void scripted_broker::release(fault_id rule) {
  run([&](mqtt_service& service) {
    for (const auto& task : service.faults().remove(rule)) {
      task();
    }
  });
}

void scripted_broker::release_all() {
  run([](mqtt_service& service) {
    for (const auto& task : service.faults().remove_all()) {
      task();
    }
  });
}

std::size_t scripted_broker::applied(fault_id rule) const {
  return run([&](mqtt_service& service) { return service.faults().applied(rule); });
}

bool scripted_broker::wait_for_fault(fault_id rule, std::size_t times,
                                     std::chrono::milliseconds deadline) {
  return wait_for([&] { return applied(rule) >= times; }, deadline);
}

void scripted_broker::deliver_retained_before_suback(bool on) {
  run([&](mqtt_service& service) { service.set_retained_before_suback(on); });
}

void scripted_broker::deliver_for_each_filter(bool on) {
  run([&](mqtt_service& service) { service.set_deliver_for_each_filter(on); });
}

void scripted_broker::publish(std::string_view topic, std::string_view payload, int qos,
                              bool retain) {
  if (topic.size() > 65'535 || payload.size() > 268'435'455 - topic.size() - 4) {
    throw std::invalid_argument("larger than a packet");
  }
  run([&](mqtt_service& service) {
    service.route({.type = packet_type::publish,
                   .topic = std::string(topic),
                   .payload = std::string(payload),
                   .qos = static_cast<std::uint8_t>(qos),
                   .retain = retain});
  });
}

void scripted_broker::send_bytes(std::string_view client, std::string_view bytes) {
  run([&](mqtt_service& service) { service.send_bytes(client, bytes); });
}

void scripted_broker::drop(std::string_view client, bool reset) {
  run([&](mqtt_service& service) { service.drop(client, reset); });
}

void scripted_broker::pause() {
  run([](mqtt_service& service) { service.server().set_paused(true); });
}

void scripted_broker::resume() {
  run([](mqtt_service& service) { service.server().set_paused(false); });
}

void scripted_broker::stop_listening() {
  run([](mqtt_service& service) { service.server().set_listening(false); });
}

void scripted_broker::start_listening() {
  run([](mqtt_service& service) { service.server().set_listening(true); });
}

std::vector<std::string> scripted_broker::connected_clients() const {
  return run([](mqtt_service& service) { return service.connected_clients(); });
}

std::size_t scripted_broker::open_connections() const {
  return run([](mqtt_service& service) { return service.server().connection_count(); });
}

std::vector<broker_subscription> scripted_broker::subscriptions() const {
  return run([](mqtt_service& service) { return service.subscriptions(); });
}

std::size_t scripted_broker::count(step at, std::string_view client) const {
  return run([&](mqtt_service& service) { return service.record().count(at, client); });
}

std::size_t scripted_broker::subscribe_count(std::string_view filter) const {
  return run([&](mqtt_service& service) { return service.record().subscribe_count(filter); });
}

std::vector<seen_packet> scripted_broker::packets(step at, std::string_view client,
                                                  std::string_view topic) const {
  return run([&](mqtt_service& service) { return service.record().packets(at, client, topic); });
}

void scripted_broker::forget_packets() {
  run([](mqtt_service& service) { service.record().clear(); });
}

bool scripted_broker::wait_for(const std::function<bool()>& predicate,
                               std::chrono::milliseconds deadline) const {
  const auto end = std::chrono::steady_clock::now() + deadline;
  std::unique_lock lock(implementation_->mutex);
  for (;;) {
    const std::size_t seen = implementation_->version;
    lock.unlock();
    if (predicate()) {
      return true;
    }
    lock.lock();
    implementation_->changed.wait_until(lock, end,
                                        [&] { return implementation_->version != seen; });
    if (std::chrono::steady_clock::now() >= end) {
      return false;
    }
  }
}

bool scripted_broker::wait_for_count(step at, std::size_t expected, std::string_view client,
                                     std::chrono::milliseconds deadline) const {
  return wait_for([&] { return count(at, client) >= expected; }, deadline);
}

bool scripted_broker::wait_for_clients(std::size_t expected, std::string_view client,
                                       std::chrono::milliseconds deadline) const {
  return wait_for(
      [&] {
        auto ids = connected_clients();
        std::erase_if(ids, [&](const std::string& id) { return !matches_pattern(client, id); });
        return ids.size() == expected;
      },
      deadline);
}

bool scripted_broker::wait_for_subscription(std::string_view filter,
                                            std::chrono::milliseconds deadline) const {
  return wait_for(
      [&] {
        const auto all = subscriptions();
        return std::any_of(all.begin(), all.end(),
                           [&](const auto& held) { return held.filter == filter; });
      },
      deadline);
}

}  // namespace kavu_test
