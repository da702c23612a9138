#include "helpers/observer.hpp"

#include <mosquitto.h>

#include <algorithm>
#include <stdexcept>

namespace kavu_test {

observer::observer(std::uint16_t port) : observer(peer_options{.port = port}) {}

observer::observer(const peer_options& options) : mqtt_peer(options) {
  start();
}

observer::observer(std::uint16_t port, std::string_view filter, int qos) : observer(port) {
  subscribe(filter, qos);
}

observer::~observer() {
  stop();
}

int observer::subscribe(std::string_view filter, int qos, std::chrono::milliseconds deadline) {
  int packet_id = 0;
  const int code = mosquitto_subscribe(handle_, &packet_id, std::string(filter).c_str(), qos);
  if (code != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error("subscribing to " + std::string(filter.substr(0, 100)) + ": " +
                             mosquitto_strerror(code));
  }
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, deadline, [&] { return granted_.count(packet_id) != 0; })) {
    throw std::runtime_error("no answer to the subscription of " +
                             std::string(filter.substr(0, 100)));
  }
  filters_.insert_or_assign(std::string(filter), qos);
  const int granted = granted_[packet_id];
  granted_.erase(packet_id);
  return granted;
}

void observer::on_connected() {
  const std::lock_guard lock(mutex_);
  for (const auto& [filter, qos] : filters_) {
    mosquitto_subscribe(handle_, nullptr, filter.c_str(), qos);
  }
}

void observer::on_subscribe_acknowledged(int packet_id, int granted_qos) {
  const std::lock_guard lock(mutex_);
  granted_[packet_id] = granted_qos;
  changed_.notify_all();
}

void observer::on_message(const mosquitto_message& message) {
  const auto now = std::chrono::steady_clock::now();
  const auto* bytes = static_cast<const char*>(message.payload);
  const std::lock_guard lock(mutex_);
  messages_.push_back({.topic = message.topic,
                       .payload = {bytes, bytes + message.payloadlen},
                       .qos = message.qos,
                       .retain = message.retain,
                       .arrival = now});
  changed_.notify_all();
}

std::vector<observed_message> observer::messages() const {
  const std::lock_guard lock(mutex_);
  return messages_;
}

std::vector<observed_message> observer::messages(std::string_view topic) const {
  auto all = messages();
  std::erase_if(all, [&](const observed_message& message) { return message.topic != topic; });
  return all;
}

std::size_t observer::message_count() const {
  const std::lock_guard lock(mutex_);
  return messages_.size();
}

void observer::clear() {
  const std::lock_guard lock(mutex_);
  messages_.clear();
}

bool observer::wait_for_messages(std::size_t count, std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, deadline, [&] { return messages_.size() >= count; });
}

bool observer::wait_for_message(const std::function<bool(const observed_message&)>& predicate,
                                std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(
      lock, deadline, [&] { return std::any_of(messages_.begin(), messages_.end(), predicate); });
}

}  // namespace kavu_test
