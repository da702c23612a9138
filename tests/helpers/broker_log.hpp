#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kavu_test {

/// One filter that a client holds at the broker.
struct broker_subscription {
  std::string client_id;
  std::string filter;
  int qos = 0;

  friend bool operator==(const broker_subscription&, const broker_subscription&) = default;
};

/// Follows the log of a mosquitto and knows from it who is connected and subscribed.
/// One thread at a time.
class broker_log {
 public:
  explicit broker_log(std::filesystem::path file) : file_(std::move(file)) {}

  /// Reads on from where it stopped.
  void update();
  /// The broker is gone, and all its connections with it.
  void forget_connections();

  std::vector<std::string> connected_clients() const;
  std::vector<broker_subscription> subscriptions() const;
  std::size_t connections_accepted(std::string_view client_id_prefix) const;

 private:
  struct session {
    bool connected = false;
    std::size_t connections = 0;
    std::map<std::string, int, std::less<>> filters = {};
  };

  void read_line(std::string_view line);
  void read_connect(std::string_view line);
  bool read_disconnect(std::string_view line);
  void read_subscription(std::string_view line);

  std::filesystem::path file_;
  std::size_t position_ = 0;
  std::map<std::string, session, std::less<>> sessions_ = {};
};

}  // namespace kavu_test
