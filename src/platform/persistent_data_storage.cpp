#include "kavuhelper/settings/persistent_data_storage.hpp"

#include <utility>

namespace brunvik::monitoring_modules::libkavuhelper::settings {

bool persistent_data_storage::has(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  return entries_.contains(key);
}

std::optional<std::string> persistent_data_storage::get(const std::string& key) const {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(key);
  return found == entries_.end() ? std::nullopt : std::optional(found->second);
}

void persistent_data_storage::set(const std::string& key, std::string value) {
  const std::lock_guard lock(mutex_);
  const auto [entry, is_new] = entries_.try_emplace(key);
  if (is_new || entry->second != value) {
    entry->second = value;
    changes_.insert_or_assign(key, std::move(value));
  }
}

void persistent_data_storage::set(const std::string& key, const std::vector<std::uint8_t>& value) {
  set(key, std::string(value.begin(), value.end()));
}

persistent_data_storage::entries persistent_data_storage::take_changes() {
  const std::lock_guard lock(mutex_);
  return std::exchange(changes_, {});
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
