#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brunvik::monitoring_modules::libkavuhelper::settings {

/// What one sensor has the host keep for it: keys and values, any bytes.
///
/// It starts with what the host handed over and remembers what has changed since it was last
/// told, so that a message carries the changes only. [any-thread]
class persistent_data_storage {
 public:
  using entries = std::map<std::string, std::string>;

  persistent_data_storage() = default;
  explicit persistent_data_storage(entries kept) : entries_(std::move(kept)) {}

  [[nodiscard]] bool has(const std::string& key) const;
  /// Empty when there is no such entry.
  [[nodiscard]] std::optional<std::string> get(const std::string& key) const;

  /// Replaces the entry. Setting the value that is there already is no change.
  void set(const std::string& key, std::string value);
  void set(const std::string& key, const std::vector<std::uint8_t>& value);

  /// What has been set since the last call, each entry with its latest value.
  [[nodiscard]] entries take_changes();

 private:
  mutable std::mutex mutex_;
  entries entries_;  // guarded by mutex_
  entries changes_;  // guarded by mutex_
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
