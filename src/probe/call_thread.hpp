#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

#include "probe/inbox.hpp"

namespace kavu_probe {

/// Runs the calls of a module on a thread of its own, so that the caller can wait for the call's
/// messages and its end together, and can stop waiting when a signal comes.
class call_thread {
 public:
  /// The end of each call goes to `results`, which must outlive this.
  explicit call_thread(inbox& results);
  call_thread(const call_thread&) = delete;
  call_thread& operator=(const call_thread&) = delete;
  /// Waits for a running call. Whoever cannot wait that long must end the process instead.
  ~call_thread();

  /// Starts one call. Precondition: no other is running. The call must not throw.
  void start(std::function<std::int32_t()> call);

 private:
  void run() noexcept;

  inbox& results_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<std::int32_t()> call_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace kavu_probe
