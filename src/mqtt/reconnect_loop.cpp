#include "mqtt/reconnect_loop.hpp"

#include <algorithm>
#include <array>
#include <string>

#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;
namespace severity = liblog::severity;

namespace {

/// How often to look for a loss that the library has not told.
constexpr auto verify_interval = 10s;

constexpr std::chrono::seconds delay_after(std::size_t attempt) {
  constexpr std::array<std::chrono::seconds, 6> delays{1s, 2s, 5s, 10s, 30s, 60s};
  return delays[std::min(attempt, delays.size() - 1)];
}

}  // namespace

reconnect_loop::reconnect_loop(reconnectable& target, std::shared_ptr<client_log> log)
    : target_(target), log_(std::move(log)), thread_([this] { run(); }) {}

reconnect_loop::~reconnect_loop() {
  stop();
}

void reconnect_loop::connection_lost() noexcept {
  bool running = false;
  {
    const std::lock_guard lock(mutex_);
    running = in_progress_;
    stands_ = false;
    wanted_ = true;
    ++losses_;
  }
  changed_.notify_all();
  if (running) {
    log(severity::debug, "Reconnect already in progress.");
  }
}

void reconnect_loop::connected() noexcept {
  {
    const std::lock_guard lock(mutex_);
    stands_ = true;
  }
  changed_.notify_all();
}

void reconnect_loop::look_after() noexcept {
  {
    const std::lock_guard lock(mutex_);
    wanted_ = true;
  }
  changed_.notify_all();
}

void reconnect_loop::hold() noexcept {
  const std::lock_guard lock(mutex_);
  held_ = true;
  next_attempt_ = clock::now() + delay_after(0);
}

void reconnect_loop::resume() noexcept {
  {
    const std::lock_guard lock(mutex_);
    held_ = false;
  }
  changed_.notify_all();
}

void reconnect_loop::stop() noexcept {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) {
    thread_.join();
  }
}

bool reconnect_loop::is_stopping() const noexcept {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

bool reconnect_loop::is_in_progress() const noexcept {
  const std::lock_guard lock(mutex_);
  return in_progress_;
}

std::uint64_t reconnect_loop::losses() const noexcept {
  const std::lock_guard lock(mutex_);
  return losses_;
}

void reconnect_loop::run() noexcept {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    if (!changed_.wait_for(lock, verify_interval,
                           [&] { return stopping_ || (wanted_ && !held_); })) {
      if (!stands_ || held_) {
        continue;
      }
      lock.unlock();
      verify();
      lock.lock();
    } else if (!stopping_) {
      in_progress_ = true;
      lock.unlock();
      reconnect();
      lock.lock();
      in_progress_ = false;
    }
  }
}

// Ends when all is well: connected, renewed, and nothing wanted since before the renewal began.
void reconnect_loop::reconnect() noexcept {
  log(severity::info, "Start reconnecting ...");
  std::size_t attempts = 0;
  std::size_t renewals = 0;
  while (!is_stopping()) {
    if (!connect(attempts)) {
      ++attempts;
      continue;
    }
    const auto before = losses();
    if (renew()) {
      return;
    }
    // A filter that the broker refuses is asked for again, but not all the time.
    if (is_lost_before(clock::now() + delay_after(renewals++), before)) {
      attempts = 0;
      renewals = 0;
    }
  }
}

// One attempt, unless the connection stands or comes up by itself.
bool reconnect_loop::connect(std::size_t attempt) noexcept {
  const auto is_up = [&] { return stands_; };
  std::unique_lock lock(mutex_);
  const auto due = next_attempt_;
  lock.unlock();
  if (!wait_until(due, is_up) && !is_stopping()) {
    const auto next = clock::now() + delay_after(attempt);
    lock.lock();
    next_attempt_ = next;
    lock.unlock();
    succeeds([&] { return target_.attempt_to_connect(), true; });
    wait_until(next, is_up);
  }
  lock.lock();
  if (stands_) {
    // How long an outage has lasted does not matter to the next one.
    next_attempt_ = std::min(next_attempt_, clock::now() + delay_after(0));
  }
  return stands_;
}

// Waits. The connection is looked at all the while.
bool reconnect_loop::is_lost_before(clock::time_point deadline, std::uint64_t losses) noexcept {
  bool lost = false;
  do {
    verify();
    lost = wait_until(std::min(deadline, clock::now() + verify_interval),
                      [&] { return losses_ != losses; });
  } while (!lost && clock::now() < deadline && !is_stopping());
  return lost;
}

bool reconnect_loop::renew() noexcept {
  {
    const std::lock_guard lock(mutex_);
    wanted_ = false;
  }
  const bool renewed = succeeds([&] { return target_.renew_subscriptions(); });
  const std::lock_guard lock(mutex_);
  return renewed && !wanted_;
}

void reconnect_loop::verify() noexcept {
  succeeds([&] { return target_.verify_connection(), true; });
}

// True when it has ended by the predicate, which is asked with the mutex held.
template <class Predicate>
bool reconnect_loop::wait_until(clock::time_point deadline, Predicate ended) noexcept {
  std::unique_lock lock(mutex_);
  changed_.wait_until(lock, deadline, [&] { return stopping_ || ended(); });
  return ended();
}

// No step that fails keeps the others from their turn.
template <class Step>
bool reconnect_loop::succeeds(Step&& step) noexcept {
  try {
    return step();
  } catch (const std::exception& failure) {
    log(severity::error, "Reconnect failed: ", failure.what());
  } catch (...) {
    log(severity::error, "Reconnect failed: ");
  }
  return false;
}

void reconnect_loop::log(int severity, const char* text, const char* detail) noexcept try {
  log_->log(severity, std::string(text) + detail);
} catch (...) {
  // A line that cannot be written must not end what it tells of.
}

}  // namespace brunvik::monitoring_modules::mqtt
