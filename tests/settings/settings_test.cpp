// What each settings record asks for, takes and keeps. For the sensors and the check that is what
// the definition document offers to the user, no more and no less: the document is read, the
// records are fed.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "definition/module_definition.hpp"
#include "helpers/host_settings.hpp"
#include "libi18n/i18n_exception.hpp"
#include "mqtt/settings/mqtt_connect_check.hpp"
#include "mqtt/settings/mqtt_notification.hpp"
#include "mqtt/settings/roundtrip_sensor.hpp"
#include "mqtt/settings/statistics_sensor.hpp"
#include "mqtt/settings/subscribe_custom_sensor.hpp"

namespace kavu_test {
namespace {

namespace lib = brunvik::monitoring_modules;
namespace settings = lib::mqtt::settings;
using nlohmann::json;

/// What a host sends: flat keys and texts.
using setting_texts = std::map<std::string, std::string>;

template <class Record>
Record build(const setting_texts& texts) {
  kavu::wire::Envelope envelope;
  for (const auto& [key, text] : texts) {
    auto& entry = *envelope.mutable_sensor_data()->add_settings();
    entry.set_key(key);
    entry.set_value(text);
  }
  envelope.mutable_sensor_data()->set_kind("any");
  const std::string bytes = envelope.SerializeAsString();
  return Record{lib::libkavuhelper::settings::sensor_data_wrapper(
      bytes.data(), static_cast<unsigned int>(bytes.size()))};
}

/// The text of the failure, or empty.
template <class Record>
std::string failure_of(const setting_texts& texts) {
  try {
    build<Record>(texts);
    return {};
  } catch (const lib::libi18n::i18n_exception& failure) {
    return failure.what();
  }
}

setting_texts with(setting_texts texts, const std::string& key, std::string_view text) {
  texts[key] = text;
  return texts;
}

setting_texts sent_by(host_settings host) {
  setting_texts texts;
  const auto add = [&](const auto& message) {
    for (const auto* entries : {&message.settings(), &message.secure_settings()}) {
      for (const auto& entry : *entries) {
        texts[entry.key()] = entry.value();
      }
    }
  };
  add(host.envelope().sensor_data());
  add(host.envelope().check_data());
  return texts;
}

const json& document() {
  static const json parsed = json::parse(lib::definition::module_definition_document());
  return parsed;
}

/// A record and its sensor or check in the document.
struct offer {
  using failure_function = std::string (*)(const setting_texts&);

  offer(const std::string& of, failure_function how, const host_settings& host)
      : name(of), failure(how), texts(sent_by(host)) {
    const json& sensors = document().at("Sensors");
    const json& sections = sensors.contains(of) ? sensors.at(of).at("Settings").at("Sections")
                                                : document().at("Checks").at(of).at("Sections");
    for (const std::string section : sections) {
      for (const std::string group : document().at("Sections").at(section).at("Groups")) {
        for (const json& item : document().at("Groups").at(group).at("Items")) {
          const json& setting = item.at("Setting");
          const std::string key =
              section + "." + group + "." + setting.at("Name").get<std::string>();
          EXPECT_TRUE(offered.emplace(key, setting).second) << key;
        }
      }
    }
  }
  std::string failure_with(const std::string& key, std::string_view text) const {
    return failure(with(texts, key, text));
  }

  std::string name;
  failure_function failure;
  /// What a host sends when the user has changed nothing.
  setting_texts texts;
  std::map<std::string, json> offered;
};

const std::vector<offer>& offers() {
  static const std::vector<offer> all{
      {"roundtrip_sensor", failure_of<settings::roundtrip_sensor>,
       host_settings::roundtrip_sensor(1883)},
      {"statistics_sensor", failure_of<settings::statistics_sensor>,
       host_settings::statistics_sensor(1883, "")},
      {"subscribe_custom_sensor", failure_of<settings::subscribe_custom_sensor>,
       host_settings::custom_sensor(1883, "")},
      {"mqtt_connect_check", failure_of<settings::mqtt_connect_check>,
       host_settings::connect_check(1883)}};
  return all;
}

TEST(settings, that_a_host_sends_are_read_and_are_those_of_the_document) {
  for (const auto& each : offers()) {
    SCOPED_TRACE(each.name);
    EXPECT_EQ(each.failure(each.texts), "");
    for (const auto& [key, text] : each.texts) {
      setting_texts others = each.texts;
      others.erase(key);
      EXPECT_EQ(each.failure(others),
                key == "interval" ? "" : "The setting \"" + key + "\" was not available.");
    }
    for (const auto& [key, setting] : each.offered) {
      EXPECT_EQ(each.texts.at(key), setting.value("Default", "")) << key;
    }
    EXPECT_EQ(each.texts.size(), each.offered.size() + 6);  // what hosts send of their own accord
  }
}

std::set<std::string> options(const json& setting) {
  std::set<std::string> values;
  for (const json& option : setting.at("Selection").at("Options")) {
    values.insert(option.at("Value"));
  }
  return values;
}

TEST(settings, of_a_selection_take_the_options_of_the_document_and_nothing_else) {
  for (const auto& each : offers()) {
    std::set<std::string> candidates{"", "0", "1", "YES", " yes", "true", "enabled", "disabled"};
    for (const auto& [key, setting] : each.offered) {
      if (setting.contains("Selection")) {
        candidates.merge(options(setting));
      }
    }
    for (const auto& [key, setting] : each.offered) {
      const bool is_selection = setting.contains("Selection");
      for (const auto& text : candidates) {
        const bool is_taken = each.failure_with(key, text).find(
                                  "could not be parsed into selection type") == std::string::npos;
        EXPECT_EQ(is_taken, !is_selection || options(setting).contains(text)) << key << " " << text;
      }
    }
  }
}

TEST(settings, of_a_number_have_the_limits_of_the_document) {
  for (const auto& each : offers()) {
    for (const auto& [key, setting] : each.offered) {
      const bool is_integer = setting.contains("IntegerSigned");
      const bool is_number = is_integer || setting.contains("Floatingpoint");
      EXPECT_EQ(each.failure_with(key, "one").find(" is invalid. ") != std::string::npos, is_number)
          << key;
      if (!is_number) {
        continue;
      }
      const json& type = setting.at(is_integer ? "IntegerSigned" : "Floatingpoint");
      const auto minimum = type.at("Minimum").get<std::int64_t>();
      const auto maximum = type.at("Maximum").get<std::int64_t>();
      const auto fails = [&each, &of = key](std::int64_t value) {
        return !each.failure_with(of, std::to_string(value)).empty();
      };
      EXPECT_FALSE(fails(minimum)) << key;
      EXPECT_FALSE(fails(maximum)) << key;
      EXPECT_EQ(fails(minimum - 1), type.at("IsMinimumSet").get<bool>()) << key;
      EXPECT_EQ(fails(maximum + 1), type.at("IsMaximumSet").get<bool>()) << key;
    }
  }
}

const std::string user_group = "credentials.user_credentials.";
const std::string tls_group = "credentials.tls.";
const std::string custom_group = "subscribe_custom.connection_subscribe_custom.";

/// Every setting of every record. Texts, which are taken as they come, tell their key.
setting_texts all_texts() {
  setting_texts all{
      {"connection.host", ""}, {"connection.port", "0"}, {"connection.client_id", ""}};
  for (const auto& each : offers()) {
    all.insert(each.texts.begin(), each.texts.end());
  }
  for (auto& [key, text] : all) {
    text = text.empty() ? key + "\n\xff" : text;
  }
  return all;
}

TEST(settings, that_the_document_does_not_offer_have_limits_too) {
  const auto check = failure_of<settings::mqtt_connect_check>;
  const auto notification = failure_of<settings::mqtt_notification>;
  const std::string no_selection = "could not be parsed into selection type ";
  const std::string empty = "Setting value \"\" is invalid. The setting ";
  struct {
    offer::failure_function failure;
    std::string key;
    const char* text;
    std::string words;
  } const cases[] = {
      {check, "timeout", "0", ""},
      {check, "timeout", "9223372036854775807", ""},
      {check, "timeout", "-1", "is less than the allowed value of 0."},
      {check, "timeout", "", empty + "\"timeout\" needs a number."},
      {check, "interval", "1", ""},
      {check, "interval", "0", "is less than the allowed value of 1."},
      {check, "interval", "", empty + "\"interval\" needs a number."},
      {check, "logging", "Enabled", no_selection + "\"logging\"."},
      {check, "ipversion", "", no_selection + "\"ipversion\"."},
      {check, "credentials.connection_mqtt.port", "",
       empty + "\"credentials.connection_mqtt.port\" needs a number."},
      {notification, "connection.port", "65535", ""},
      {notification, "connection.port", "-1", "is less than the allowed value of 0."},
      {notification, "connection.port", "65536", "is bigger than the allowed value of 65535."},
      {notification, "connection.port", "", empty + "\"connection.port\" needs a number."},
      {notification, tls_group + "active", "on", no_selection + "\"active\"."},
  };
  for (const auto& each : cases) {
    const std::string failure = each.failure(with(all_texts(), each.key, each.text));
    EXPECT_TRUE(failure.ends_with(each.words) && failure.empty() == each.words.empty())
        << each.key << " " << each.text << ": " << failure;
  }
}

TEST(settings, have_each_text_in_its_place) {
  auto texts = all_texts();
  const auto sent = [&](const std::string& key) { return texts.at(key); };
  const auto sensor = build<settings::mqtt_connect_check>(texts);
  EXPECT_EQ(sensor.common.host, sent("host"));
  EXPECT_EQ(sensor.common.timeout, 10);
  EXPECT_EQ(sensor.common.cloud_api_key.reveal(), sent("brunvikcloudapikey"));
  EXPECT_EQ(sensor.connection.port, 1883);
  EXPECT_EQ(sensor.credentials.user, sent(user_group + "user"));
  EXPECT_EQ(sensor.credentials.password.reveal(), sent(user_group + "password"));
  EXPECT_EQ(sensor.tls.ca_certificate, sent(tls_group + "ca_certificate"));
  EXPECT_EQ(sensor.tls.client_certificate, sent(tls_group + "client_certificate"));
  EXPECT_EQ(sensor.tls.client_key, sent(tls_group + "client_key"));
  EXPECT_EQ(sensor.tls.client_key_password.reveal(), sent(tls_group + "client_key_password"));
  EXPECT_EQ(build<settings::statistics_sensor>(texts).topic,
            sent("statistics.connection_statistics.topic"));
  const auto roundtrip = build<settings::roundtrip_sensor>(texts);
  EXPECT_EQ(roundtrip.topic, sent("roundtrip.connection_roundtrip.topic"));
  EXPECT_EQ(roundtrip.client_id, sent("roundtrip.connection_roundtrip.client_id"));
  const auto notification = build<settings::mqtt_notification>(texts);
  EXPECT_EQ(notification.host, sent("connection.host"));
  EXPECT_EQ(notification.client_id, sent("connection.client_id"));
  const auto custom = build<settings::subscribe_custom_sensor>(
      with(texts, custom_group + "channel10_scale_factor", "0.25"));
  EXPECT_EQ(custom.topic, sent(custom_group + "topic"));
  EXPECT_EQ(custom.message_path, sent(custom_group + "message_path"));
  EXPECT_EQ(custom.channels[9].jsonpath, sent(custom_group + "channel10_jsonpath"));
  EXPECT_EQ(custom.channels[9].name, sent(custom_group + "channel10_name"));
  EXPECT_EQ(custom.channels[9].unit, sent(custom_group + "channel10_unit"));
  EXPECT_EQ(custom.channels[9].scale_factor, 0.25);

  EXPECT_EQ(sensor.common.interval, 60);
  texts["interval"] = "30";
  EXPECT_EQ(build<settings::mqtt_connect_check>(texts).common.interval, 30);
  texts.erase("interval");
  EXPECT_EQ(build<settings::mqtt_connect_check>(texts).common.interval, 60);
}

TEST(settings, switch_what_they_name) {
  const auto build_with = [](const std::string& key, std::string_view text) {
    return build<settings::subscribe_custom_sensor>(with(all_texts(), key, text));
  };
  EXPECT_TRUE(build_with(user_group + "active", "yes").credentials.active);
  EXPECT_FALSE(build_with(tls_group + "active", "yes").credentials.active);
  EXPECT_TRUE(build_with(tls_group + "active", "yes").tls.active);
  EXPECT_TRUE(build_with(tls_group + "server_auth_active", "yes").tls.server_auth_active);
  EXPECT_TRUE(build_with(tls_group + "client_auth_active", "yes").tls.client_auth_active);
  EXPECT_EQ(build_with("logging", "enabled").common.logging, settings::logging_mode::enabled);
  for (const auto& [text, version] : {std::pair{"IPv4", 0}, {"0", 0}, {"IPv6", 1}, {"1", 1}}) {
    EXPECT_EQ(static_cast<int>(build_with("ipversion", text).common.ipversion), version) << text;
  }
  EXPECT_FALSE(build_with("ipversion", "1").channels[9].is_on());
  EXPECT_TRUE(build_with("ipversion", "1").channels[0].is_on());
  EXPECT_TRUE(build_with(custom_group + "channel10", "enable").channels[9].is_on());
  using enum settings::channel_type;
  for (const auto& [text, type] : {std::pair{"absolute_integer", absolute_integer},
                                   {"absolute_float", absolute_float},
                                   {"delta_counter", delta_counter}}) {
    EXPECT_EQ(build_with(custom_group + "channel5_type", text).channels[4].type, type);
  }
  EXPECT_EQ(build_with(custom_group + "duration_since_last_message", "enable")
                .duration_since_last_message,
            settings::activation::enable);
  EXPECT_EQ(build_with(custom_group + "retain_last_message", "retain").retain_last_message,
            settings::last_message::retain);
}

}  // namespace
}  // namespace kavu_test
