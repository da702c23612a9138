#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "soak/soak_host.hpp"
#include "soak/tally.hpp"

namespace kavu_test::soak {

/// How a broker is, for those who judge by it what they have seen.
struct weather {
  /// Odd while an outage lasts; changes when it begins and when the broker is back.
  std::atomic<int> turn = 0;
  /// The turn, while everything stands and every failure is a fault; otherwise -1.
  std::atomic<int> calm = -1;
};

enum class sensor_kind { statistics, custom, roundtrip };

/// A sensor that is there from beginning to end, and what its scans have said. One thread scans it,
/// others look.
class watched_sensor {
 public:
  watched_sensor(soak_host& host, tally& figures, const weather& around, std::int32_t id,
                 sensor_kind kind, std::chrono::milliseconds interval)
      : host_(host), tally_(figures), weather_(around), id_(id), kind_(kind), interval_(interval) {}

  void scan();

  std::int32_t id() const { return id_; }
  sensor_kind kind() const { return kind_; }
  std::chrono::milliseconds interval() const { return interval_; }
  std::string name() const;

  /// Counted in all; the bytes are never ahead of the messages.
  std::int64_t messages() const { return messages_; }
  std::int64_t bytes() const { return bytes_; }
  /// The number in the latest message.
  std::int64_t value() const { return value_; }
  /// Whether a scan has gone well since the broker is back.
  bool is_back() const { return well_in_turn_ == weather_.turn; }

 private:
  void read(const kavu::wire::ScanResult& result);

  soak_host& host_;
  tally& tally_;
  const weather& weather_;
  const std::int32_t id_;
  const sensor_kind kind_;
  const std::chrono::milliseconds interval_;

  std::atomic<std::int64_t> messages_ = 0;
  std::atomic<std::int64_t> bytes_ = 0;
  std::atomic<std::int64_t> value_ = -1;
  std::atomic<int> well_in_turn_ = -1;
};

/// Threads of the host that scan sensors, each at its own interval, until destruction.
std::vector<std::jthread> keep_scanning(const std::vector<watched_sensor*>& sensors);

/// Waits, until somebody wants it to stop at the longest.
void pause(const std::stop_token& stopping, std::chrono::milliseconds duration);

}  // namespace kavu_test::soak
