#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

namespace brunvik::monitoring_modules::mqtt {

/// Keeps the MQTT library from sleeping when something is about to arrive.
///
/// The library's receiving thread looks at a new connection only when one that it has already been
/// watching does something, or after a second; and whenever a second passes in silence it sleeps
/// for another tenth. With one idle client in the process, connecting a second one takes 2.1 s that
/// way, and a message may be noticed 100 ms late: times that would be shown as the broker's.
///
/// Its sending thread, in turn, now and then misses that there is something to send, and then finds
/// it a second later.
///
/// So this is a connection that can do something at any time: a client of the library, connected
/// over the loopback interface to a socket that this object holds itself. Sending on it wakes the
/// thread. There is one for all clients of the process, for as long as any holds it. [any-thread],
/// but not from within the library's callbacks.
class library_waker {
 public:
  /// The one of this process, or a new one if that does not work. Never null. Takes two seconds at
  /// most when one is made: beside a silent connection the library needs more than one to see it.
  static std::shared_ptr<library_waker> shared();

  library_waker();
  ~library_waker();
  library_waker(const library_waker&) = delete;
  library_waker& operator=(const library_waker&) = delete;

  /// One that could not be connected wakes nobody.
  [[nodiscard]] bool works() const noexcept;

  /// Has the receiving thread look at all its connections once more. Does not wait.
  void wake() noexcept;

  /// Has the sending thread look for what there is to send. Waits for the lock that serves all
  /// clients.
  void wake_sender() noexcept;

  /// As `wake`, and returns when it is looking, or after a fifth of a second. For the next second
  /// what arrives is noticed at once.
  void wake_and_wait() noexcept;

 private:
  struct library_callbacks;

  using clock = std::chrono::steady_clock;

  bool connect();
  bool start_connecting(std::uint16_t port);
  bool accept_own(int listener, clock::time_point deadline);
  void let_sender_finish() noexcept;

  void* handle_ = nullptr;  // the library's
  int peer_ = -1;           // our end of the connection

  mutable std::mutex mutex_;  // guards all below
  std::condition_variable changed_;
  bool connected_ = false;
  bool broken_ = false;  // the connection has ended
  std::uint64_t sent_ = 0;
  std::uint64_t seen_ = 0;
  int to_be_sent_ = 0;  // by the sending thread
};

/// A client's share in the waker of the process. [any-thread], as that.
class shared_waker {
 public:
  [[nodiscard]] std::shared_ptr<library_waker> get() const {
    const std::lock_guard lock(mutex_);
    return waker_;
  }

  /// Takes the process's new one when the connection of this one has ended.
  void renew_if_dead() {
    if (!get()->works()) {
      auto next = library_waker::shared();
      const std::lock_guard lock(mutex_);
      waker_.swap(next);
    }
  }

 private:
  mutable std::mutex mutex_;  // guards the pointer, and is held for moments only
  std::shared_ptr<library_waker> waker_ = library_waker::shared();
};

}  // namespace brunvik::monitoring_modules::mqtt
