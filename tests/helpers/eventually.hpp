#pragma once

#include <algorithm>
#include <chrono>
#include <concepts>
#include <thread>

namespace kavu_test {

/// How long a test waits for what must happen. Only a failing test waits that long; it is generous
/// because sanitizers and a busy machine slow everything down.
inline constexpr std::chrono::milliseconds default_deadline{20'000};

/// Waits until `predicate()` holds or the deadline has passed, and says which. For conditions that
/// nobody announces; whatever can be announced has a `wait_for` of its own.
template <std::predicate Predicate>
bool eventually(Predicate predicate, std::chrono::milliseconds deadline = default_deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  for (auto pause = std::chrono::microseconds(200);;
       pause = std::min(pause * 2, decltype(pause)(5000))) {
    if (predicate()) {
      return true;
    }
    if (std::chrono::steady_clock::now() >= end) {
      return false;
    }
    std::this_thread::sleep_for(pause);
  }
}

}  // namespace kavu_test
