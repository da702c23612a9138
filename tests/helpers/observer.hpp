#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "helpers/mqtt_peer.hpp"

namespace kavu_test {

struct observed_message {
  std::string topic;
  std::string payload;
  int qos = 0;
  bool retain = false;
  /// When the library handed it over.
  std::chrono::steady_clock::time_point arrival = {};
};

/// Subscribes at a broker and collects what arrives. Its functions may be called from any thread.
class observer : public mqtt_peer {
 public:
  explicit observer(std::uint16_t port);
  explicit observer(const peer_options& options);
  /// Connects and subscribes.
  observer(std::uint16_t port, std::string_view filter, int qos = 2);
  ~observer() override;

  /// Returns when the broker has answered, with the granted level (128: refused). Throws
  /// std::runtime_error when it does not answer in time.
  int subscribe(std::string_view filter, int qos = 2,
                std::chrono::milliseconds deadline = default_deadline);

  /// What has arrived so far, oldest first.
  std::vector<observed_message> messages() const;
  /// The messages of one topic.
  std::vector<observed_message> messages(std::string_view topic) const;
  std::size_t message_count() const;
  void clear();

  /// Waits until at least so many messages have arrived in all.
  bool wait_for_messages(std::size_t count, std::chrono::milliseconds deadline = default_deadline);
  /// Waits until a message satisfies the predicate; also true for one that came before.
  bool wait_for_message(const std::function<bool(const observed_message&)>& predicate,
                        std::chrono::milliseconds deadline = default_deadline);

 private:
  void on_connected() override;
  void on_subscribe_acknowledged(int packet_id, int granted_qos) override;
  void on_message(const mosquitto_message& message) override;

  std::vector<observed_message> messages_ = {};
  std::map<std::string, int, std::less<>> filters_ = {};
  std::map<int, int> granted_ = {};
};

}  // namespace kavu_test
