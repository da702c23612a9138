#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>

#include "helpers/eventually.hpp"

struct mosquitto;
struct mosquitto_message;

namespace kavu_test {

struct peer_options {
  std::uint16_t port = 0;
  std::string host = "127.0.0.1";
  /// Empty: one of the library's making.
  std::string client_id = {};
  std::string user = {};
  std::string password = {};
  /// TLS when set.
  std::filesystem::path ca_file = {};
  std::filesystem::path certificate_file = {};
  std::filesystem::path key_file = {};
};

/// The connection of a second, independent MQTT client (libmosquitto), for tests to look at a
/// broker from the other side. It comes back by itself, within about a second, when the broker
/// does.
class mqtt_peer {
 public:
  mqtt_peer(const mqtt_peer&) = delete;
  mqtt_peer& operator=(const mqtt_peer&) = delete;

  bool connected() const;
  /// Waits until it is connected (again), with all subscriptions renewed.
  bool wait_until_connected(std::chrono::milliseconds deadline = default_deadline);

 protected:
  /// Connects. Throws std::runtime_error with the broker's reason when that fails.
  explicit mqtt_peer(const peer_options& options);
  virtual ~mqtt_peer();

  /// Connects and starts the library's thread; called by the derived class when it is complete.
  void start();
  /// No callback after this.
  void stop() noexcept;

  // All on the library's thread.
  virtual void on_connected() {}
  virtual void on_publish_acknowledged(int /*packet_id*/) {}
  virtual void on_subscribe_acknowledged(int /*packet_id*/, int /*granted_qos*/) {}
  virtual void on_message(const mosquitto_message& /*message*/) {}

  mosquitto* handle_ = nullptr;
  mutable std::mutex mutex_;
  std::condition_variable changed_;

 private:
  void set_up(const peer_options& options);
  void set_callbacks();

  std::string host_;
  std::uint16_t port_;
  static constexpr int no_answer_yet = -1;

  bool connected_ = false;
  int connect_answer_ = no_answer_yet;
};

}  // namespace kavu_test
