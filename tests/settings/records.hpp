#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kavuhelper/settings/sensor_data_wrapper.hpp"

namespace kavu_test {

/// What a host sends: flat keys and texts.
using setting_texts = std::map<std::string, std::string>;

brunvik::monitoring_modules::libkavuhelper::settings::sensor_data_wrapper wrap(
    const setting_texts& texts);

/// The texts with one of them changed.
setting_texts with(setting_texts texts, const std::string& key, std::string_view text);

/// A settings record, seen from outside.
struct record {
  /// Its sensor or check in the definition document; the notification has none there.
  const char* name;
  /// How building it ends: the failure's text, "no value" for an empty number, or empty.
  std::string (*failure)(const setting_texts&);

  /// The keys without which it cannot be built, in the order in which it misses them. `text_of`
  /// gives the text of a key that it has missed.
  std::vector<std::string> required_keys(
      const std::function<std::string(const std::string& key)>& text_of) const;
};

extern const record roundtrip_record;
extern const record statistics_record;
extern const record custom_record;
extern const record check_record;
extern const record notification_record;

/// The key that a "setting not available" tells of; empty for other failures.
std::string missing_key(const std::string& failure);

}  // namespace kavu_test
