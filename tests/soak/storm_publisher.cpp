#include "soak/storm_publisher.hpp"

#include <chrono>
#include <stdexcept>

#include "soak/workers.hpp"

namespace kavu_test::soak {

using namespace std::chrono_literals;

std::string numbered_payload(std::int64_t number, std::size_t size) {
  std::string text = "{\"n\":" + std::to_string(number) + "}";
  text.append(size > text.size() ? size - text.size() : 0, ' ');
  return text;
}

storm_publisher::storm_publisher(std::uint16_t port, std::vector<std::string> topics,
                                 const std::atomic<bool>& down, wants wanted)
    : port_(port),
      topics_(std::move(topics)),
      down_(down),
      wanted_(std::move(wanted)),
      sent_(topics_.size()),
      outside_(std::make_unique<publisher>(port)),
      thread_([this](const std::stop_token& stopping) { run(stopping); }) {}

storm_publisher::~storm_publisher() {
  stop();
}

void storm_publisher::stop() {
  thread_.request_stop();
  if (thread_.joinable()) {
    thread_.join();
  }
  outside_.reset();
}

void storm_publisher::run(const std::stop_token& stopping) {
  while (!stopping.stop_requested()) {
    for (std::size_t topic = 0; topic < topics_.size(); ++topic) {
      if (wanted_(topic)) {
        publish(topic);
      }
    }
    pause(stopping, 200ms);
  }
}

// A message that the client library refuses for want of a connection is published as well: so it
// is to whoever publishes.
void storm_publisher::publish(std::size_t topic) {
  const bool down = down_;
  ++(down ? sent_[topic].while_down : sent_[topic].later);
  const auto size = static_cast<std::size_t>(down ? short_size : long_size);
  try {
    if (outside_ == nullptr) {
      outside_ = std::make_unique<publisher>(port_);
    }
    outside_->publish(topics_[topic], numbered_payload(0, size), 0, false, std::chrono::seconds(2));
  } catch (const std::runtime_error&) {
    outside_.reset();
  }
}

}  // namespace kavu_test::soak
