#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "mqtt/client_log.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// What the loop drives. Called on the loop's thread only.
class reconnectable {
 public:
  virtual ~reconnectable() = default;
  /// Begins an attempt to connect. May wait for as long as `reconnect_loop::is_stopping` is false.
  virtual void attempt_to_connect() = 0;
  /// Has the broker subscribe to every filter again, and tells whether all of them are. As above.
  virtual bool renew_subscriptions() = 0;
  /// Looks whether the connection still stands, asks a quiet broker whether it is there, and
  /// reports a loss that nobody has reported. Waits for the broker's answer, at most five minutes,
  /// and not once the client ends.
  virtual void verify_connection() = 0;
};

/// Brings a lost connection back, on a thread of its own that sleeps while there is nothing to do.
///
/// It goes on until the connection stands and every subscription has been renewed on it, whatever
/// fails on the way: an attempt, a renewal, or the connection once more. Attempts are 1, 2, 5, 10,
/// 30, 60, 60 ... seconds apart, and so are those to renew what the broker refuses; a connection
/// that comes up, or is lost, is taken care of at once.
class reconnect_loop {
 public:
  /// `target` must outlive the loop. Throws std::system_error when there is no thread to be had.
  reconnect_loop(reconnectable& target, std::shared_ptr<client_log> log);
  /// Stops.
  ~reconnect_loop();

  reconnect_loop(const reconnect_loop&) = delete;
  reconnect_loop& operator=(const reconnect_loop&) = delete;

  /// The connection is gone. Does not wait, does not throw. [client-thread]
  void connection_lost() noexcept;
  /// The connection has come up. Does not wait, does not throw. [client-thread]
  void connected() noexcept;
  /// Somebody has noticed that something is missing: runs the loop. [any-thread]
  void look_after() noexcept;
  /// Somebody else makes an attempt, from now until `resume`: the loop makes none meanwhile, and
  /// keeps its distance from this one. [any-thread], both.
  void hold() noexcept;
  void resume() noexcept;

  /// Ends the loop as soon as what it calls returns, and waits for that. Then no more calls come.
  /// [any-thread] but the loop's own.
  void stop() noexcept;
  /// [any-thread], and so is the next.
  [[nodiscard]] bool is_stopping() const noexcept;
  [[nodiscard]] bool is_in_progress() const noexcept;

 private:
  using clock = std::chrono::steady_clock;

  void run() noexcept;
  void reconnect() noexcept;
  bool connect(std::size_t attempt) noexcept;
  bool renew() noexcept;
  bool is_lost_before(clock::time_point deadline, std::uint64_t losses) noexcept;
  void verify() noexcept;
  std::uint64_t losses() const noexcept;

  template <class Predicate>
  bool wait_until(clock::time_point deadline, Predicate ended) noexcept;
  template <class Step>
  bool succeeds(Step&& step) noexcept;
  void log(int severity, const char* text, const char* detail = "") noexcept;

  reconnectable& target_;
  std::shared_ptr<client_log> log_;

  mutable std::mutex mutex_;  // guards all below, and is held for moments only
  std::condition_variable changed_;
  bool stopping_ = false;
  bool wanted_ = false;  // since the last renewal began
  bool held_ = false;
  bool in_progress_ = false;
  bool stands_ = false;  // the connection
  std::uint64_t losses_ = 0;
  clock::time_point next_attempt_{};

  std::thread thread_;  // last: it uses all of the above
};

}  // namespace brunvik::monitoring_modules::mqtt
