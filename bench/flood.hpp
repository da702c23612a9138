#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kavu_bench {

inline constexpr std::size_t flood_topics = 1'000;
inline constexpr std::size_t flood_payload_bytes = 100;

/// A filter that all topics match, and the topic of a number below `flood_topics`.
inline constexpr const char* flood_filter = "plant/#";
std::string flood_topic(std::size_t number);

/// Publishes as fast as the broker reads: 100 bytes to each of 1,000 topics in turn, with quality
/// of service 0. The packets (MQTT 3.1.1, sections 3.1 and 3.3) are made once, so that the sender
/// takes as little of the machine as can be.
class flood {
 public:
  /// Connects to the broker on 127.0.0.1. Throws std::runtime_error when it cannot.
  explicit flood(std::uint16_t port);
  ~flood();
  flood(const flood&) = delete;
  flood& operator=(const flood&) = delete;

  /// Publishes one message to every topic, `rounds` times; returns when the last one has been given
  /// to the network.
  void publish_to_all(std::size_t rounds);

 private:
  void write_all(const std::string& bytes);

  int socket_;
  std::string round_;
};

}  // namespace kavu_bench
