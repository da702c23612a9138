#pragma once

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

  /// Called by the module's host callback. Ends the process when it is no message.
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
  std::size_t message_count() const;

  /// What a host keeps with a sensor.
  std::map<std::string, std::string> persistent_data(std::int32_t sensor_id) const {
    return kept_of(sensor_id).persistent_data;
  }
  std::vector<kavu::wire::ChannelDefinition> channels(std::int32_t sensor_id) const {
    return kept_of(sensor_id).channels;
  }

  /// Waits until some log record contains this text; also true for one that came before.
  bool wait_for_log(std::string_view text) const;

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
  kept kept_of(std::int32_t sensor_id) const;
  template <class Message, class Choose>
  std::vector<Message> collect(Choose choose) const;

  mutable std::mutex mutex_;  // guards all that follows
  mutable std::condition_variable changed_;
  std::deque<letter> letters_ = {};
  std::map<std::int32_t, kept> kept_ = {};
};

/// The value of a channel in a result; nothing when it has none, or one of the other kind.
std::optional<std::int64_t> integer_value(const kavu::wire::ScanResult& result, int channel);
std::optional<double> floating_value(const kavu::wire::ScanResult& result, int channel);

}  // namespace kavu_test
