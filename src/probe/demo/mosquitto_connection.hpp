#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

struct mosquitto;
struct mosquitto_message;

namespace kavu_probe {

/// A client of a broker on this machine, on libmosquitto.
///
/// Deliberately another library than the module's: what one says of the messages confirms the
/// other.
class mosquitto_connection {
 public:
  /// Called on a thread of the library.
  using message_handler = std::function<void(std::string_view topic, std::string_view payload)>;

  /// Connects within five seconds. Throws probe_error when that fails.
  mosquitto_connection(const std::string& client_id, std::uint16_t port, message_handler handler);
  mosquitto_connection(const mosquitto_connection&) = delete;
  mosquitto_connection& operator=(const mosquitto_connection&) = delete;
  ~mosquitto_connection();

  /// Returns when the broker has granted the subscription. Throws probe_error.
  void subscribe(const std::string& filter);

  /// Hands a message over for sending. False when it cannot be sent. [any-thread]
  bool publish(const std::string& topic, std::string_view payload) noexcept;

 private:
  static void on_connect(mosquitto* handle, void* self, int code) noexcept;
  static void on_subscribe(mosquitto* handle, void* self, int id, int count,
                           const int* granted) noexcept;
  static void on_message(mosquitto* handle, void* self, const mosquitto_message* message) noexcept;
  void release() noexcept;

  message_handler handler_;
  mosquitto* handle_;
  std::mutex mutex_;
  std::condition_variable changed_;
  int connect_code_ = -1;
  int granted_subscription_ = 0;
};

}  // namespace kavu_probe
