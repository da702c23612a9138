#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "helpers/publisher.hpp"

namespace kavu_test::soak {

/// A message of this size with this number.
std::string numbered_payload(std::int64_t number, std::size_t size);

/// Publishes from construction to destruction, broker or not. What it publishes while the broker is
/// said to be down is short, all else is long: from messages and bytes together it can be seen how
/// many of each have been counted.
class storm_publisher {
 public:
  static constexpr std::int64_t short_size = 20;
  static constexpr std::int64_t long_size = 120;

  /// Which topics want a message now, by their place in the list; called on the thread of its own.
  using wants = std::function<bool(std::size_t)>;

  storm_publisher(std::uint16_t port, std::vector<std::string> topics,
                  const std::atomic<bool>& down, wants wanted);
  ~storm_publisher();

  /// Ends it; then the numbers below stand still.
  void stop();

  std::int64_t sent_while_down(std::size_t topic) const { return sent_[topic].while_down; }
  std::int64_t sent_later(std::size_t topic) const { return sent_[topic].later; }

 private:
  struct sent {
    std::int64_t while_down = 0;
    std::int64_t later = 0;
  };

  void run(const std::stop_token& stopping);
  void publish(std::size_t topic);

  const std::uint16_t port_;
  const std::vector<std::string> topics_;
  const std::atomic<bool>& down_;
  const wants wanted_;
  std::vector<sent> sent_;
  std::unique_ptr<publisher> outside_;
  std::jthread thread_;
};

}  // namespace kavu_test::soak
