#include "probe/inbox.hpp"

#include <climits>
#include <utility>

namespace kavu_probe {
namespace {

constexpr std::size_t most_log_records = 100'000;

}  // namespace

void inbox::put_message(std::span<const std::uint8_t> bytes) noexcept {
  try {
    kavu::wire::Envelope message;
    const bool readable = bytes.size() <= INT_MAX &&
                          message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())) &&
                          message.content_case() != kavu::wire::Envelope::CONTENT_NOT_SET;
    if (!message.has_log_record() || message.log_record().severity() <= least_severe_) {
      put(std::move(message), bytes.size(), readable);
    }
  } catch (...) {
    // Out of memory: the module must not meet an exception of its host.
  }
}

void inbox::put(kavu::wire::Envelope&& message, std::size_t size, bool readable) {
  {
    const std::scoped_lock lock(mutex_);
    if (!readable) {
      events_.emplace_back(unreadable_message{size});
    } else if (!message.has_log_record()) {
      events_.emplace_back(std::move(message));
    } else if (log_records_ == most_log_records) {
      ++lost_log_records_;
    } else {
      events_.emplace_back(std::move(message));
      ++log_records_;
    }
  }
  changed_.notify_one();
}

void inbox::put_end_of_call(std::int32_t code) noexcept {
  {
    const std::scoped_lock lock(mutex_);
    ended_ = call_ended{code};
  }
  changed_.notify_one();
}

std::optional<inbox_event> inbox::take_locked() {
  if (!events_.empty()) {
    inbox_event event = std::move(events_.front());
    events_.pop_front();
    if (const auto* message = std::get_if<kavu::wire::Envelope>(&event);
        message != nullptr && message->has_log_record()) {
      --log_records_;
    }
    return event;
  }
  if (lost_log_records_ != 0) {
    return lost_log_records{std::exchange(lost_log_records_, 0)};
  }
  if (ended_) {
    return *std::exchange(ended_, std::nullopt);
  }
  return std::nullopt;
}

std::optional<inbox_event> inbox::take(std::chrono::steady_clock::time_point deadline,
                                       const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  changed_.wait_until(lock, stop, deadline, [this] {
    return !events_.empty() || lost_log_records_ != 0 || ended_.has_value();
  });
  return take_locked();
}

}  // namespace kavu_probe
