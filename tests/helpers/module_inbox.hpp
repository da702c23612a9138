#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "envelope.pb.h"
#include "helpers/eventually.hpp"

namespace kavu_test {

/// What a module has sent to its host. Keeps the latest `capacity` messages, and the latest
/// definitions and persistent data of each sensor for good. [any-thread]
class module_inbox {
 public:
  static constexpr std::size_t capacity = 100'000;

  /// Never throws: the module's host callback calls it.
  void add(const std::uint8_t* data, std::uint32_t size) noexcept;
  /// Forgets the messages.
  void clear();

  /// All messages that satisfy the predicate, oldest first.
  std::vector<kavu::wire::Envelope> messages(
      const std::function<bool(const kavu::wire::Envelope&)>& predicate) const;
  std::vector<kavu::wire::ScanResult> scan_results(std::int32_t sensor_id) const;
  std::vector<kavu::wire::CheckResult> check_results(std::int32_t check_id) const;
  std::vector<kavu::wire::NotificationResponse> notification_responses(std::int32_t id) const;
  std::vector<kavu::wire::LogRecord> log_records() const;
  /// Whether some log record contains this text.
  bool logged(std::string_view text) const;
  /// Whether these bytes stand anywhere in any message: for secrets.
  bool contains(std::string_view bytes) const;
  /// Messages that are no envelope.
  std::size_t unreadable_count() const;
  std::size_t message_count() const;

  /// What a host keeps with a sensor.
  std::map<std::string, std::string> persistent_data(std::int32_t sensor_id) const;
  std::vector<kavu::wire::ChannelDefinition> channels(std::int32_t sensor_id) const;

  /// Waits until a message satisfies the predicate; also true for one that came before.
  bool wait_for(const std::function<bool(const kavu::wire::Envelope&)>& predicate,
                std::chrono::milliseconds deadline = default_deadline) const;
  bool wait_for_log(std::string_view text,
                    std::chrono::milliseconds deadline = default_deadline) const;

 private:
  struct letter {
    std::string bytes;
    kavu::wire::Envelope envelope;
  };
  struct kept {
    std::map<std::string, std::string> persistent_data = {};
    std::vector<kavu::wire::ChannelDefinition> channels = {};
  };

  void keep(const kavu::wire::Envelope& envelope);

  mutable std::mutex mutex_;  // guards all that follows
  mutable std::condition_variable changed_;
  std::deque<letter> letters_ = {};
  std::map<std::int32_t, kept> kept_ = {};
  std::size_t unreadable_ = 0;
};

/// The value of a channel in a result; nothing when it has none, or one of the other kind.
std::optional<std::int64_t> integer_value(const kavu::wire::ScanResult& result, int channel);
std::optional<double> floating_value(const kavu::wire::ScanResult& result, int channel);

}  // namespace kavu_test
