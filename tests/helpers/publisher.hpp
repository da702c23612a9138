#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "helpers/mqtt_peer.hpp"

namespace kavu_test {

struct outgoing_message {
  std::string topic;
  std::string payload;
  int qos = 1;
  bool retain = false;
};

/// Publishes to a broker from outside. One thread at a time.
class publisher : public mqtt_peer {
 public:
  explicit publisher(std::uint16_t port);
  explicit publisher(const peer_options& options);
  ~publisher() override;

  /// Returns when the broker has acknowledged the message; with quality of service 0 when it has
  /// been given to the network. Throws std::runtime_error when that does not happen in time.
  void publish(std::string_view topic, std::string_view payload, int qos = 1, bool retain = false,
               std::chrono::milliseconds deadline = default_deadline);

  /// The same for many at once: all are on their way before the first acknowledgement is waited
  /// for, in the order given.
  void publish_many(const std::vector<outgoing_message>& messages,
                    std::chrono::milliseconds deadline = default_deadline);

  /// Removes the retained message of a topic.
  void clear_retained(std::string_view topic) { publish(topic, "", 1, true); }

 private:
  void send(std::string_view topic, std::string_view payload, int qos, bool retain);
  void wait_for_acknowledgements(std::chrono::milliseconds deadline);
  void on_publish_acknowledged(int packet_id) override;

  std::size_t sent_ = 0;
  std::size_t acknowledged_ = 0;
};

}  // namespace kavu_test
