#pragma once

#include <atomic>
#include <stop_token>
#include <thread>

namespace kavu_probe {

/// Turns the signals that end a program (interrupt, terminate, hang-up) into a stop request.
///
/// The first one requests the stop. A second one, or five seconds without the program having
/// ended, ends the process on the spot. Must be created before any other thread, since it blocks
/// the signals for all that come after it. A hang-up that was ignored (nohup) stays ignored.
class signal_watcher {
 public:
  signal_watcher();
  signal_watcher(const signal_watcher&) = delete;
  signal_watcher& operator=(const signal_watcher&) = delete;
  ~signal_watcher();

  /// [any-thread]
  std::stop_token token() const { return stop_.get_token(); }

  /// The signal that came; 0 while none has. [any-thread]
  int signal() const { return signal_.load(); }

 private:
  void run() noexcept;

  std::stop_source stop_;
  std::atomic<int> signal_ = 0;
  int signals_fd_;
  int end_fd_;
  std::thread thread_;
};

/// The exit code of a program that a signal ended, as shells tell it.
constexpr int exit_code_of(int signal) {
  return 128 + signal;
}

}  // namespace kavu_probe
