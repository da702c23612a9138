#include "helpers/publisher.hpp"

#include <mosquitto.h>

#include <stdexcept>

namespace kavu_test {

publisher::publisher(std::uint16_t port) : publisher(peer_options{.port = port}) {}

publisher::publisher(const peer_options& options) : mqtt_peer(options) {
  start();
}

publisher::~publisher() {
  stop();
}

void publisher::publish(std::string_view topic, std::string_view payload, int qos, bool retain,
                        std::chrono::milliseconds deadline) {
  send(topic, payload, qos, retain);
  wait_for_acknowledgements(deadline);
}

void publisher::publish_many(const std::vector<outgoing_message>& messages,
                             std::chrono::milliseconds deadline) {
  for (const auto& message : messages) {
    send(message.topic, message.payload, message.qos, message.retain);
  }
  wait_for_acknowledgements(deadline);
}

void publisher::send(std::string_view topic, std::string_view payload, int qos, bool retain) {
  const int code = mosquitto_publish(handle_, nullptr, std::string(topic).c_str(),
                                     static_cast<int>(payload.size()), payload.data(), qos, retain);
  if (code != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error("publishing on " + std::string(topic.substr(0, 100)) + ": " +
                             mosquitto_strerror(code));
  }
  ++sent_;
}

void publisher::wait_for_acknowledgements(std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, deadline, [this] { return acknowledged_ >= sent_; })) {
    throw std::runtime_error("the broker acknowledged " + std::to_string(acknowledged_) + " of " +
                             std::to_string(sent_) + " messages");
  }
}

void publisher::on_publish_acknowledged(int /*packet_id*/) {
  const std::lock_guard lock(mutex_);
  ++acknowledged_;
  changed_.notify_all();
}

}  // namespace kavu_test
