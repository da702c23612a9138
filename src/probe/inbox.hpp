#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <variant>

#include "envelope.pb.h"

namespace kavu_probe {

/// A message of the module that could not be read.
struct unreadable_message {
  std::size_t size;
};

/// Log records that nobody took in time and that were thrown away.
struct lost_log_records {
  std::uint64_t count;
};

/// The running call of the module has come back.
struct call_ended {
  std::int32_t code;
};

using inbox_event =
    std::variant<kavu::wire::Envelope, unreadable_message, lost_log_records, call_ended>;

/// Brings what the module's threads say to the one thread that works on it.
///
/// Messages stay in their order, and the end of a call comes after everything that the module
/// said before it. Putting is short, never blocks on the taker, and throws nothing, so that it
/// may be done inside the module's callback; when the taker is slow, log records beyond a bound
/// are dropped and counted, results never.
class inbox {
 public:
  /// Log records less severe than `least_severe` are dropped as they come: a busy module writes
  /// several for each message.
  explicit inbox(int least_severe) : least_severe_(least_severe) {}

  /// One serialized envelope; the bytes are copied. [any-thread]
  void put_message(std::span<const std::uint8_t> bytes) noexcept;

  /// [any-thread]
  void put_end_of_call(std::int32_t code) noexcept;

  /// The next event; nothing when `deadline` passes or a stop is requested before there is one.
  std::optional<inbox_event> take(std::chrono::steady_clock::time_point deadline,
                                  const std::stop_token& stop);

 private:
  void put(kavu::wire::Envelope&& message, std::size_t size, bool readable);
  std::optional<inbox_event> take_locked();

  const int least_severe_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<inbox_event> events_;
  std::size_t log_records_ = 0;
  std::uint64_t lost_log_records_ = 0;
  std::optional<call_ended> ended_;
};

}  // namespace kavu_probe
