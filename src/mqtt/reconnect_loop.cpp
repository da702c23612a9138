#include "mqtt/reconnect_loop.hpp"

#include <algorithm>
#include <array>
#include <string>

#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;
namespace severity = liblog::severity;

namespace {
constexpr std::array<std::chrono::seconds, 6> delays{1s, 2s, 5s, 10s, 30s, 60s};
}

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
    wanted_ = true;
  }
  changed_.notify_all();
  if (running) {
    log(severity::debug, "Reconnect already in progress.");
  }
}

void reconnect_loop::connected() noexcept {
  {
    const std::lock_guard lock(mutex_);
    came_up_ = true;
  }
  changed_.notify_all();
}

void reconnect_loop::look_after() noexcept {
  {
    const std::lock_guard lock(mutex_);
    if (in_progress_) {
      return;
    }
    wanted_ = true;
  }
  changed_.notify_all();
}

void reconnect_loop::note_attempt() noexcept {
  const std::lock_guard lock(mutex_);
  next_attempt_ = clock::now() + delays.front();
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

void reconnect_loop::run() noexcept {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [&] { return stopping_ || wanted_; });
    if (stopping_) {
      return;
    }
    in_progress_ = true;
    lock.unlock();
    reconnect();
    lock.lock();
    in_progress_ = false;
  }
}

void reconnect_loop::reconnect() {
  log(severity::info, "Start reconnecting ...");
  std::size_t delay_index = 0;
  while (!is_stopping()) {
    try {
      if (round(delay_index)) {
        return;
      }
    } catch (const std::exception& failure) {
      log(severity::error, (std::string("Reconnect failed: ") + failure.what()).c_str());
    } catch (...) {
      log(severity::error, "Reconnect failed: ");
    }
  }
}

// One attempt if there is no connection, then the renewal as soon as there is one. True when all
// is well: connected, renewed, and nothing lost since before the renewal began.
bool reconnect_loop::round(std::size_t& delay_index) {
  const auto delay = delays[delay_index];
  delay_index = std::min(delay_index, delays.size() - 2) + 1;

  const bool stood = target_.is_connected();
  if (!stood) {
    if (!wait_until(next_attempt_, false)) {
      return false;
    }
    {
      const std::lock_guard lock(mutex_);
      came_up_ = false;
      next_attempt_ = clock::now() + delay;
    }
    target_.attempt_to_connect();
    if (!wait_until(next_attempt_, true)) {
      return false;
    }
  }
  {
    const std::lock_guard lock(mutex_);
    wanted_ = false;
  }
  if (target_.is_connected() && target_.renew_subscriptions()) {
    const std::lock_guard lock(mutex_);
    if (!wanted_) {
      return true;
    }
  } else if (stood) {
    // A filter that the broker refuses is asked for again, but not all the time.
    wait_until(clock::now() + delay, false);
  }
  return false;
}

// False when the loop is to stop.
bool reconnect_loop::wait_until(clock::time_point deadline, bool until_connected) {
  std::unique_lock lock(mutex_);
  changed_.wait_until(lock, deadline, [&] { return stopping_ || (until_connected && came_up_); });
  return !stopping_;
}

void reconnect_loop::log(int severity, const char* text) noexcept try {
  log_->log(severity, text);
} catch (...) {
  // A line that cannot be written must not end what it tells of.
}

}  // namespace brunvik::monitoring_modules::mqtt
