#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "mqtt/received_message.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Remembers which topics a client has had live messages on, and what the last one of each was, so
/// that a retained message that the broker repeats is not taken for news.
///
/// Topics and payloads are kept as hashes. Memory is bounded: further topics are not remembered,
/// and a repeated message then says that its history is incomplete. Not synchronised.
class live_topics {
 public:
  static constexpr std::size_t most_topics = 100'000;

  /// Taken outside of any lock: payloads may be long.
  struct fingerprint {
    explicit fingerprint(const received_message& message);
    std::uint64_t topic;
    std::optional<std::uint64_t> payload;  // empty when it is too long to be compared
  };

  /// Remembers a live message; tells a retained one what came before it. Number and connection of
  /// the message are set.
  void admit(received_message& message, const fingerprint& of_message);

 private:
  struct entry {
    std::uint64_t number;
    std::uint64_t connection;
    std::optional<std::uint64_t> payload;
  };
  std::unordered_map<std::uint64_t, entry> topics_;
  bool complete_ = true;
};

}  // namespace brunvik::monitoring_modules::mqtt
