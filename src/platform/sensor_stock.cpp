#include "kavuhelper/module/sensor_stock.hpp"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "kavuhelper/utils/exceptions.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

using sensors::sensor_interface;
using utils::exceptions::sensor_already_registered;
using utils::exceptions::sensor_not_in_sensor_stock;

struct sensor_stock::entry {
  enum class phase { reserved, ready, leaving };

  phase current = phase::reserved;  // guarded by the stock's mutex
  std::mutex use;
  std::shared_ptr<sensor_interface> sensor;  // guarded by use once the phase is ready
};

namespace {

/// Destroys side by side: each sensor may wait a second or two for a broker that does not answer,
/// and the module's end must not take the sum.
void destroy_all(std::vector<std::shared_ptr<sensor_interface>>& sensors) noexcept {
  constexpr std::size_t most_threads = 64;
  std::atomic<std::size_t> next = 0;
  const auto destroy = [&sensors, &next] {
    for (std::size_t i = next++; i < sensors.size(); i = next++) {
      sensors[i].reset();
    }
  };
  std::vector<std::jthread> helpers;
  try {
    for (std::size_t i = 1; i < std::min(sensors.size(), most_threads); ++i) {
      helpers.emplace_back(destroy);
    }
  } catch (...) {
    // Fewer threads take longer.
  }
  destroy();
}

}  // namespace

sensor_stock::exclusive_use::exclusive_use(std::shared_ptr<entry> used)
    : entry_(std::move(used)), lock_(entry_->use) {}

sensor_interface& sensor_stock::exclusive_use::sensor() const noexcept {
  return *entry_->sensor;
}

sensor_stock::sensor_stock() = default;

sensor_stock::~sensor_stock() {
  std::vector<std::shared_ptr<sensor_interface>> sensors;
  for (auto& [id, leaving] : entries_) {
    sensors.push_back(std::move(leaving->sensor));
  }
  destroy_all(sensors);
}

sensor_stock::reservation::reservation(sensor_stock& stock, std::int32_t id,
                                       std::shared_ptr<entry> reserved)
    : stock_(&stock), id_(id), entry_(std::move(reserved)) {}

sensor_stock::reservation::~reservation() {
  if (entry_ != nullptr) {
    stock_->cancel(id_, entry_);
  }
}

std::optional<sensor_stock::reservation> sensor_stock::reserve(std::int32_t id) {
  auto reserved = std::make_shared<entry>();
  const std::lock_guard lock(mutex_);
  if (!entries_.try_emplace(id, reserved).second) {
    return std::nullopt;
  }
  return reservation(*this, id, std::move(reserved));
}

// The id may be somebody else's by now: its sensor has been added, destroyed, and the id reserved
// once more.
void sensor_stock::cancel(std::int32_t id, const std::shared_ptr<entry>& reserved) noexcept {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(id);
  if (found != entries_.end() && found->second == reserved &&
      reserved->current == entry::phase::reserved) {
    entries_.erase(found);
  }
}

void sensor_stock::add_sensor(std::int32_t id, const std::shared_ptr<sensor_interface>& sensor) {
  const std::lock_guard lock(mutex_);
  auto& slot = entries_[id];
  if (!slot) {
    slot = std::make_shared<entry>();
  } else if (slot->current != entry::phase::reserved) {
    throw sensor_already_registered(id);
  }
  slot->sensor = sensor;
  slot->current = entry::phase::ready;
}

std::optional<sensor_stock::exclusive_use> sensor_stock::acquire(std::int32_t id) {
  std::shared_ptr<entry> found;
  {
    const std::lock_guard lock(mutex_);
    found = find_ready(id);
  }
  if (found == nullptr) {
    return std::nullopt;
  }
  exclusive_use use(std::move(found));
  if (use.entry_->sensor == nullptr) {
    return std::nullopt;
  }
  return use;
}

void sensor_stock::remove_sensor(std::int32_t id) {
  std::shared_ptr<entry> leaving;
  {
    const std::lock_guard lock(mutex_);
    leaving = find_ready(id);
    if (leaving == nullptr) {
      throw sensor_not_in_sensor_stock(id);
    }
    leaving->current = entry::phase::leaving;
  }
  {
    std::unique_lock use(leaving->use);
    const auto sensor = std::move(leaving->sensor);
    use.unlock();
  }
  const std::lock_guard lock(mutex_);
  entries_.erase(id);
}

std::size_t sensor_stock::size() const {
  const std::lock_guard lock(mutex_);
  return entries_.size();
}

std::shared_ptr<sensor_stock::entry> sensor_stock::find_ready(std::int32_t id) const {
  const auto found = entries_.find(id);
  const bool ready = found != entries_.end() && found->second->current == entry::phase::ready;
  return ready ? found->second : nullptr;
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
