#include "settings/records.hpp"

#include <optional>
#include <stdexcept>

#include "envelope.pb.h"
#include "libi18n/i18n_exception.hpp"
#include "mqtt/settings/mqtt_connect_check.hpp"
#include "mqtt/settings/mqtt_notification.hpp"
#include "mqtt/settings/roundtrip_sensor.hpp"
#include "mqtt/settings/statistics_sensor.hpp"
#include "mqtt/settings/subscribe_custom_sensor.hpp"

namespace kavu_test {

namespace lib = brunvik::monitoring_modules;
namespace settings = lib::mqtt::settings;

namespace {

template <class Record>
std::string failure_of(const setting_texts& texts) {
  try {
    const Record built{wrap(texts)};
    return {};
  } catch (const lib::libi18n::i18n_exception& failure) {
    return failure.what();
  } catch (const std::bad_optional_access&) {
    return "no value";
  }
}

}  // namespace

const record roundtrip_record{"roundtrip_sensor", failure_of<settings::roundtrip_sensor>};
const record statistics_record{"statistics_sensor", failure_of<settings::statistics_sensor>};
const record custom_record{"subscribe_custom_sensor",
                           failure_of<settings::subscribe_custom_sensor>};
const record check_record{"mqtt_connect_check", failure_of<settings::mqtt_connect_check>};
const record notification_record{"", failure_of<settings::mqtt_notification>};

lib::libkavuhelper::settings::sensor_data_wrapper wrap(const setting_texts& texts) {
  kavu::wire::Envelope envelope;
  for (const auto& [key, text] : texts) {
    auto& entry = *envelope.mutable_sensor_data()->add_settings();
    entry.set_key(key);
    entry.set_value(text);
  }
  envelope.mutable_sensor_data()->set_kind("any");
  const std::string bytes = envelope.SerializeAsString();
  return {bytes.data(), static_cast<unsigned int>(bytes.size())};
}

setting_texts with(setting_texts texts, const std::string& key, std::string_view text) {
  texts[key] = text;
  return texts;
}

std::string missing_key(const std::string& failure) {
  const std::string_view before = "The setting \"";
  const std::string_view after = "\" was not available.";
  return failure.starts_with(before) && failure.ends_with(after)
             ? failure.substr(before.size(), failure.size() - before.size() - after.size())
             : std::string();
}

std::vector<std::string> record::required_keys(
    const std::function<std::string(const std::string&)>& text_of) const {
  std::vector<std::string> keys;
  setting_texts texts;
  for (;;) {
    const std::string key = missing_key(failure(texts));
    if (key.empty()) {
      return keys;
    }
    if (!texts.emplace(key, text_of(key)).second) {
      throw std::logic_error("asked again for " + key);
    }
    keys.push_back(key);
  }
}

}  // namespace kavu_test
