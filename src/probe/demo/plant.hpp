#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "probe/demo/mosquitto_connection.hpp"
#include "probe/demo/plant_devices.hpp"

namespace kavu_probe {

/// What the plant's own observer has seen of "plant/#".
struct plant_counts {
  std::uint64_t messages = 0;
  std::uint64_t payload_bytes = 0;
  std::uint64_t topics = 0;
};

/// A simulated plant behind a broker: its devices publish, and an observer of its own counts what
/// the broker hands out and watches for notifications.
///
/// Everything runs on threads that the destructor ends and joins.
class plant {
 public:
  static constexpr const char* filter = "plant/#";
  static constexpr const char* notification_topic = "alerts/plant";

  /// Throws probe_error when the broker cannot be reached.
  plant(std::uint16_t port, std::vector<plant_device> devices);
  plant(const plant&) = delete;
  plant& operator=(const plant&) = delete;
  ~plant();

  /// Stops publishing and waits, half a second at most, until all that was published has been
  /// handed out, so that two observers can end their counts at the same message.
  void hold();
  void go_on();

  /// The observer's counts since the last call.
  plant_counts take_counts();

  /// Waits two seconds at most for a notification with this text; when it arrived, or nothing.
  std::optional<std::chrono::steady_clock::time_point> await_notification(
      const std::string& text, const std::stop_token& stop);

  /// How many devices publish what the observer counts.
  std::size_t counted_devices() const;

 private:
  struct timed_device {
    plant_device device;
    std::chrono::steady_clock::time_point due;
  };

  void observe(std::string_view topic, std::string_view payload);
  void run(const std::stop_token& stop) noexcept;
  std::chrono::steady_clock::time_point publish_due(std::chrono::steady_clock::time_point now);

  std::vector<timed_device> devices_;
  const std::chrono::steady_clock::time_point started_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  plant_counts counts_;
  std::set<std::string, std::less<>> topics_;
  std::uint64_t published_ = 0;
  std::uint64_t observed_ = 0;
  bool held_ = false;
  bool publishing_ = false;
  std::string notification_;
  std::chrono::steady_clock::time_point notified_;
  mosquitto_connection observer_;
  mosquitto_connection publisher_;
  std::jthread thread_;
};

}  // namespace kavu_probe
