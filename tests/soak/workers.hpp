#pragma once

#include <chrono>
#include <memory>
#include <stop_token>
#include <thread>
#include <vector>

#include "soak/watched_sensor.hpp"

namespace kavu_test::soak {

/// Waits, until somebody wants it to stop at the longest.
void pause(const std::stop_token& stopping, std::chrono::milliseconds duration);

/// Threads of the host that scan sensors, each at its own interval, until destruction.
class workers {
 public:
  explicit workers(const std::vector<watched_sensor*>& sensors);

 private:
  static void run(const std::stop_token& stopping, const std::vector<watched_sensor*>& sensors);

  std::vector<std::jthread> threads_;
};

}  // namespace kavu_test::soak
