#include "soak/watched_sensor.hpp"

#include <algorithm>
#include <condition_variable>
#include <mutex>

namespace kavu_test::soak {

using clock = std::chrono::steady_clock;

void pause(const std::stop_token& stopping, std::chrono::milliseconds duration) {
  std::mutex mutex;
  std::condition_variable_any never;
  std::unique_lock lock(mutex);
  never.wait_for(lock, stopping, duration, [] { return false; });
}

namespace {

void scan_in_turn(const std::stop_token& stopping, const std::vector<watched_sensor*>& sensors) {
  std::vector<clock::time_point> due(sensors.size(), clock::now());
  while (!stopping.stop_requested() && !sensors.empty()) {
    const auto next = std::min_element(due.begin(), due.end());
    pause(stopping, std::chrono::ceil<std::chrono::milliseconds>(*next - clock::now()));
    if (!stopping.stop_requested()) {
      watched_sensor& sensor = *sensors[static_cast<std::size_t>(next - due.begin())];
      sensor.scan();
      *next = clock::now() + sensor.interval();
    }
  }
}

}  // namespace

std::vector<std::jthread> keep_scanning(const std::vector<watched_sensor*>& sensors) {
  // A round trip takes seconds; the others are not to wait for it.
  constexpr std::size_t quick_threads = 4;
  constexpr std::size_t slow_threads = 3;
  std::vector<std::vector<watched_sensor*>> shares(quick_threads + slow_threads);
  std::size_t quick = 0;
  std::size_t slow = 0;
  for (watched_sensor* sensor : sensors) {
    const bool takes_long = sensor->kind() == sensor_kind::roundtrip;
    shares[takes_long ? quick_threads + slow++ % slow_threads : quick++ % quick_threads].push_back(
        sensor);
  }
  std::vector<std::jthread> threads;
  threads.reserve(shares.size());
  for (auto& share : shares) {
    threads.emplace_back(scan_in_turn, std::move(share));
  }
  return threads;
}

void watched_sensor::scan() {
  const int turn = weather_.turn;
  const int calm = weather_.calm;
  const auto began = clock::now();
  const auto result = host_.scan(id_);
  tally_.note_scan_time(clock::now() - began);
  if (result && result->response_code() == kavu::wire::RESPONSE_CODE_OK) {
    ++tally_.scans_ok;
    read(*result);
    if (turn % 2 == 0 && turn == weather_.turn) {
      well_in_turn_ = turn;
    }
    return;
  }
  const bool lost = result && result->message().key() == "error.connection_lost";
  ++(lost ? tally_.scans_connection_lost : tally_.scans_other);
  if (calm >= 0 && calm == weather_.calm) {
    tally_.note_fault(name() + " failed while the broker stood: " +
                      (result ? result->message().text() : "no result"));
  }
}

void watched_sensor::read(const kavu::wire::ScanResult& result) {
  if (kind_ == sensor_kind::statistics) {
    messages_ += integer_value(result, 0).value_or(0);
    bytes_ += integer_value(result, 1).value_or(0);
  } else if (kind_ == sensor_kind::custom) {
    value_ = integer_value(result, 1).value_or(value_);
  }
}

std::string watched_sensor::name() const {
  constexpr const char* kinds[] = {"statistics sensor ", "custom sensor ", "round trip sensor "};
  return kinds[static_cast<int>(kind_)] + std::to_string(id_);
}

}  // namespace kavu_test::soak
