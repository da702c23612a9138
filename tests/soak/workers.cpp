#include "soak/workers.hpp"

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

workers::workers(const std::vector<watched_sensor*>& sensors) {
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
  for (auto& share : shares) {
    threads_.emplace_back(
        [share = std::move(share)](const std::stop_token& stopping) { run(stopping, share); });
  }
}

void workers::run(const std::stop_token& stopping, const std::vector<watched_sensor*>& sensors) {
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

}  // namespace kavu_test::soak
