#include "probe/demo/plant.hpp"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace kavu_probe {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds longest_settling{500};
constexpr std::chrono::seconds longest_notification{2};

bool is_counted(std::string_view topic) {
  return topic.starts_with("plant/");
}

std::string client_name(const char* role) {
  return std::string("plant_") + role + "_" + std::to_string(getpid());
}

}  // namespace

plant::plant(std::uint16_t port, std::vector<plant_device> devices)
    : started_(steady_clock::now()),
      observer_(
          client_name("observer"), port,
          [this](std::string_view topic, std::string_view payload) { observe(topic, payload); }),
      publisher_(client_name("devices"), port, [](std::string_view, std::string_view) {}) {
  observer_.subscribe(filter);
  observer_.subscribe(notification_topic);
  for (plant_device& device : devices) {
    // Spread over the first period, so that the messages do not come in bursts.
    const auto offset = device.period * devices_.size() / devices.size();
    devices_.push_back({std::move(device), started_ + offset});
  }
  thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

plant::~plant() {
  thread_.request_stop();
  thread_.join();
}

void plant::hold() {
  std::unique_lock lock(mutex_);
  held_ = true;
  changed_.notify_all();
  changed_.wait_for(lock, longest_settling,
                    [this] { return !publishing_ && observed_ == published_; });
}

void plant::go_on() {
  {
    const std::scoped_lock lock(mutex_);
    held_ = false;
  }
  changed_.notify_all();
}

std::size_t plant::counted_devices() const {
  return static_cast<std::size_t>(
      std::count_if(devices_.begin(), devices_.end(),
                    [](const timed_device& item) { return is_counted(item.device.topic); }));
}

plant_counts plant::take_counts() {
  const std::scoped_lock lock(mutex_);
  plant_counts taken = std::exchange(counts_, {});
  taken.topics = topics_.size();
  topics_.clear();
  return taken;
}

std::optional<steady_clock::time_point> plant::await_notification(const std::string& text,
                                                                  const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, stop, longest_notification, [&] { return notification_ == text; })) {
    return std::nullopt;
  }
  return notified_;
}

// On the observer's thread.
void plant::observe(std::string_view topic, std::string_view payload) {
  {
    const std::scoped_lock lock(mutex_);
    if (topic == notification_topic) {
      notification_ = payload;
      notified_ = steady_clock::now();
    } else {
      ++observed_;
      ++counts_.messages;
      counts_.payload_bytes += payload.size();
      topics_.emplace(topic);
    }
  }
  changed_.notify_all();
}

// [own-thread]
void plant::run(const std::stop_token& stop) noexcept {
  std::unique_lock lock(mutex_);
  while (!stop.stop_requested()) {
    changed_.wait(lock, stop, [this] { return !held_; });
    if (stop.stop_requested()) {
      return;
    }
    publishing_ = true;
    lock.unlock();
    const auto next = publish_due(steady_clock::now());
    lock.lock();
    publishing_ = false;
    changed_.notify_all();
    changed_.wait_until(lock, stop, next, [this] { return held_; });
  }
}

steady_clock::time_point plant::publish_due(steady_clock::time_point now) {
  auto next = steady_clock::time_point::max();
  const auto running = now - started_;
  for (timed_device& item : devices_) {
    if (item.due <= now) {
      const plant_device& device = item.device;
      if (!device.pause.covers(running)) {
        const std::string payload = device.payload(std::chrono::duration<double>(running).count());
        if (publisher_.publish(device.topic, payload) && is_counted(device.topic)) {
          const std::scoped_lock lock(mutex_);
          ++published_;
        }
      }
      item.due += device.period * ((now - item.due) / device.period + 1);
    }
    next = std::min(next, item.due);
  }
  return next;
}

}  // namespace kavu_probe
