#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "helpers/eventually.hpp"

struct mosquitto;

namespace kavu_test {

struct outgoing_message {
  std::string topic;
  std::string payload;
  int qos = 1;
  bool retain = false;
};

struct observed_message {
  std::string topic;
  std::string payload;
  int qos = 0;
  bool retain = false;
  /// When the library handed it over.
  std::chrono::steady_clock::time_point arrival = {};
};

/// A second, independent MQTT client (libmosquitto), for tests to look at a broker from the other
/// side: it publishes, and collects what arrives. It comes back by itself, within about a second,
/// when the broker does. Publishing and subscribing: one thread at a time.
class mqtt_peer {
 public:
  /// Connects. Throws std::runtime_error with the broker's reason when that fails.
  explicit mqtt_peer(std::uint16_t port);
  ~mqtt_peer();
  mqtt_peer(const mqtt_peer&) = delete;
  mqtt_peer& operator=(const mqtt_peer&) = delete;

  /// Waits until it is connected (again), with all subscriptions renewed.
  bool wait_until_connected();

  /// Returns when the broker has acknowledged the message; with quality of service 0 when it has
  /// been given to the network. Throws std::runtime_error when that does not happen in time.
  void publish(std::string_view topic, std::string_view payload, int qos = 1, bool retain = false,
               std::chrono::milliseconds deadline = default_deadline);
  /// The same for many at once: all are on their way, in the order given, before the first
  /// acknowledgement is waited for.
  void publish_many(const std::vector<outgoing_message>& messages,
                    std::chrono::milliseconds deadline = default_deadline);
  void clear_retained(std::string_view topic) { publish(topic, "", 1, true); }

  /// Returns the granted level (128: refused). Throws std::runtime_error without an answer.
  int subscribe(const std::string& filter, int qos = 2);
  /// What has arrived so far, oldest first.
  std::vector<observed_message> messages() const;
  std::size_t message_count() const { return messages().size(); }
  /// Waits until at least so many messages have arrived in all.
  bool wait_for_messages(std::size_t count);

 private:
  void set_callbacks();
  void connect(std::uint16_t port);

  mosquitto* handle_;
  std::size_t sent_ = 0;

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  bool connected_ = false;
  int connect_answer_ = -1;  // none yet
  std::size_t acknowledged_ = 0;
  std::map<std::string, int> filters_ = {};
  std::map<int, int> granted_ = {};
  std::vector<observed_message> messages_ = {};
};

}  // namespace kavu_test
