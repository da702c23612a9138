// What each settings record asks for, takes and keeps.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <regex>
#include <set>

#include "mqtt/settings/mqtt_connect_check.hpp"
#include "mqtt/settings/mqtt_notification.hpp"
#include "mqtt/settings/roundtrip_sensor.hpp"
#include "mqtt/settings/statistics_sensor.hpp"
#include "mqtt/settings/subscribe_custom_sensor.hpp"
#include "settings/records.hpp"

namespace kavu_test {
namespace {

namespace settings = brunvik::monitoring_modules::mqtt::settings;
using testing::ElementsAreArray;
using key_list = std::vector<std::string>;

const std::string user_group = "credentials.user_credentials.";
const std::string tls_group = "credentials.tls.";
const std::string port_key = "credentials.connection_mqtt.port";
const std::string roundtrip_group = "roundtrip.connection_roundtrip.";
const std::string custom_group = "subscribe_custom.connection_subscribe_custom.";

key_list under(const std::string& prefix, const key_list& names) {
  key_list keys;
  for (const auto& name : names) {
    keys.push_back(prefix + name);
  }
  return keys;
}

key_list operator+(key_list first, const key_list& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// Every list in the order in which it is read: of several faults the first is told.
const key_list user_keys = under(user_group, {"active", "user", "password"});
const key_list tls_keys =
    under(tls_group, {"active", "server_auth_active", "ca_certificate", "client_auth_active",
                      "client_certificate", "client_key", "client_key_password"});
const key_list check_keys =
    key_list{"host", "logging", "timeout", "brunvikcloudapikey", "ipversion"} + user_keys +
    key_list{port_key} + tls_keys;

key_list custom_keys() {
  key_list keys = check_keys;
  for (int number = 1; number <= 10; ++number) {
    const std::string channel = "channel" + std::to_string(number);
    if (number > 1) {
      keys.push_back(custom_group + channel);
    }
    keys = keys + under(custom_group + channel + "_",
                        {"jsonpath", "name", "unit", "type", "scale_factor"});
  }
  return keys + under(custom_group, {"topic", "duration_since_last_message", "retain_last_message",
                                     "message_path"});
}

const std::pair<const record&, key_list> all_records[] = {
    {check_record, check_keys},
    {statistics_record, check_keys + key_list{"statistics.connection_statistics.topic"}},
    {roundtrip_record,
     check_keys + under(roundtrip_group, {"topic", "use_custom_settings", "client_id"})},
    {custom_record, custom_keys()},
    {notification_record,
     user_keys + tls_keys + under("connection.", {"host", "port", "client_id"})},
};

/// A text that the setting takes: what a host sends when the user has changed nothing.
std::string plain_text(const std::string& key) {
  const std::pair<const char*, const char*> texts[] = {
      {".*active|.*use_custom_settings", "no"},
      {".*port", "1883"},
      {"timeout", "10"},
      {"logging", "disabled"},
      {"ipversion", "IPv4"},
      {".*_scale_factor", "1"},
      {".*_type", "absolute_float"},
      {".*retain_last_message", "dismiss"},
      {".*duration_since_last_message|.*\\.channel[0-9]+", "disable"}};
  for (const auto& [pattern, text] : texts) {
    if (std::regex_match(key, std::regex(pattern))) {
      return text;
    }
  }
  return "";
}

const setting_texts& plain_texts() {
  static const setting_texts all = [] {
    setting_texts texts{{"interval", "30"}};
    for (const auto& [kind, keys] : all_records) {
      for (const auto& key : keys) {
        texts.emplace(key, plain_text(key));
      }
    }
    return texts;
  }();
  return all;
}

template <class Record>
Record build(const setting_texts& texts) {
  return Record{wrap(texts)};
}

TEST(settings_records, ask_for_every_setting_in_a_fixed_order) {
  for (const auto& [kind, keys] : all_records) {
    EXPECT_THAT(kind.required_keys(plain_text), ElementsAreArray(keys)) << kind.name;
    EXPECT_EQ(kind.failure(plain_texts()), "") << kind.name;
  }
}

struct selection {
  std::string key;
  const char* type_name;
  std::map<std::string, int> options;
  std::function<int(const setting_texts&)> value;
};

/// Reads a field of the record that is built from the texts.
template <class Record, class Field>
std::function<int(const setting_texts&)> of(Field field) {
  return
      [field](const setting_texts& texts) { return static_cast<int>(field(build<Record>(texts))); };
}

using check = settings::mqtt_connect_check;
using custom = settings::subscribe_custom_sensor;
const std::map<std::string, int> yes_no{{"no", 0}, {"yes", 1}};
const std::map<std::string, int> on_off{{"disable", 0}, {"enable", 1}};
const std::map<std::string, int> families{{"IPv4", 0}, {"0", 0}, {"IPv6", 1}, {"1", 1}};
const std::map<std::string, int> types{
    {"absolute_integer", 0}, {"absolute_float", 1}, {"delta_counter", 2}};

// The channels are switched off here and are read all the same.
const selection selections[] = {
    {"logging", "logging", {{"disabled", 0}, {"enabled", 1}}, of<check>([](const auto& r) {
       return r.common.logging;
     })},
    {"ipversion", "ipversion", families,
     of<check>([](const auto& r) { return r.common.ipversion; })},
    {user_group + "active", "active", yes_no,
     of<check>([](const auto& r) { return r.credentials.active; })},
    {tls_group + "active", "active", yes_no,
     of<settings::mqtt_notification>([](const auto& r) { return r.tls.active; })},
    {tls_group + "server_auth_active", "server_auth_active", yes_no,
     of<settings::statistics_sensor>([](const auto& r) { return r.tls.server_auth_active; })},
    {tls_group + "client_auth_active", "client_auth_active", yes_no,
     of<check>([](const auto& r) { return r.tls.client_auth_active; })},
    {roundtrip_group + "use_custom_settings", "use_custom_settings", yes_no,
     of<settings::roundtrip_sensor>([](const auto& r) { return r.use_custom_settings; })},
    {custom_group + "channel2", "channel", on_off,
     of<custom>([](const auto& r) { return *r.channels[1].enabled; })},
    {custom_group + "channel10", "channel", on_off,
     of<custom>([](const auto& r) { return *r.channels[9].enabled; })},
    {custom_group + "channel5_type", "channel_type", types,
     of<custom>([](const auto& r) { return r.channels[4].type; })},
    {custom_group + "duration_since_last_message", "duration_since_last_message", on_off,
     of<custom>([](const auto& r) { return r.duration_since_last_message; })},
    {custom_group + "retain_last_message",
     "retain_last_message",
     {{"dismiss", 0}, {"retain", 1}},
     of<custom>([](const auto& r) { return r.retain_last_message; })},
};

TEST(settings_records, take_a_selection_letter_for_letter) {
  std::set<std::string> candidates{"", "YES", "Yes", " yes", "yes ", "2", "true", "IPV4", "ENABLE"};
  for (const auto& each : selections) {
    for (const auto& [option, value] : each.options) {
      candidates.insert(option);
    }
  }
  for (const auto& each : selections) {
    for (const auto& text : candidates) {
      const auto texts = with(plain_texts(), each.key, text);
      if (const auto option = each.options.find(text); option != each.options.end()) {
        EXPECT_EQ(each.value(texts), option->second) << each.key << " " << text;
        continue;
      }
      try {
        each.value(texts);
        ADD_FAILURE() << each.key << " takes " << text;
      } catch (const std::exception& failure) {
        EXPECT_EQ(failure.what(), "Value \"" + text +
                                      "\" could not be parsed into selection type \"" +
                                      each.type_name + "\".");
      }
    }
  }
}

TEST(settings_records, hold_numbers_to_their_limits) {
  const std::string low = "is less than the allowed value of ";
  const std::string high = "is bigger than the allowed value of ";
  struct {
    const record& kind;
    std::string key;
    const char* text;
    std::string failure;
  } const cases[] = {
      {check_record, port_key, "1", ""},
      {check_record, port_key, "65535", ""},
      {check_record, port_key, "0", low + "1."},
      {check_record, port_key, "65536", high + "65535."},
      {check_record, port_key, "", "no value"},
      {check_record, port_key, "1883 ", "It is not an integer."},
      {check_record, port_key, "1.0", "It is not an integer."},
      {check_record, port_key, "99999999999999999999", "It does not fit 64 bits."},
      {notification_record, "connection.port", "0", ""},
      {notification_record, "connection.port", "65535", ""},
      {notification_record, "connection.port", "-1", low + "0."},
      {notification_record, "connection.port", "65536", high + "65535."},
      {notification_record, "connection.port", "", "no value"},
      {check_record, "timeout", "0", ""},
      {check_record, "timeout", "9223372036854775807", ""},
      {check_record, "timeout", "-1", low + "0."},
      {check_record, "timeout", "", "no value"},
      {check_record, "interval", "1", ""},
      {check_record, "interval", "0", low + "1."},
      {check_record, "interval", "", "no value"},
      {custom_record, custom_group + "channel9_scale_factor", "-1.5e300", ""},
      {custom_record, custom_group + "channel9_scale_factor", "1,5", "It is not a number."},
      {custom_record, custom_group + "channel9_scale_factor", "", "It is not a number."},
      {custom_record, custom_group + "channel9_scale_factor", "nan",
       "It is not a finite number that can be represented."},
  };
  for (const auto& each : cases) {
    const std::string failure = each.kind.failure(with(plain_texts(), each.key, each.text));
    EXPECT_TRUE(failure.ends_with(each.failure) && failure.empty() == each.failure.empty())
        << each.key << " " << each.text << ": " << failure;
  }
}

TEST(settings_records, know_an_interval_without_being_told) {
  auto texts = plain_texts();
  EXPECT_EQ(build<settings::mqtt_connect_check>(texts).common.interval, 30);
  texts.erase("interval");
  EXPECT_EQ(build<settings::mqtt_connect_check>(texts).common.interval, 60);
}

TEST(settings_records, keep_each_text_in_its_place) {
  setting_texts texts = plain_texts();
  for (auto& [key, text] : texts) {
    text = text.empty() ? key + "\n\xff" : text;  // texts are taken as they come
  }
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
  EXPECT_EQ(roundtrip.topic, sent(roundtrip_group + "topic"));
  EXPECT_EQ(roundtrip.client_id, sent(roundtrip_group + "client_id"));
  const auto notification = build<settings::mqtt_notification>(texts);
  EXPECT_EQ(notification.host, sent("connection.host"));
  EXPECT_EQ(notification.client_id, sent("connection.client_id"));
  const auto with_channels = build<settings::subscribe_custom_sensor>(
      with(texts, custom_group + "channel10_scale_factor", "0.25"));
  EXPECT_EQ(with_channels.topic, sent(custom_group + "topic"));
  EXPECT_EQ(with_channels.message_path, sent(custom_group + "message_path"));
  EXPECT_EQ(with_channels.channels[9].jsonpath, sent(custom_group + "channel10_jsonpath"));
  EXPECT_EQ(with_channels.channels[9].name, sent(custom_group + "channel10_name"));
  EXPECT_EQ(with_channels.channels[9].unit, sent(custom_group + "channel10_unit"));
  EXPECT_EQ(with_channels.channels[9].scale_factor, 0.25);
  EXPECT_TRUE(with_channels.channels[0].is_on());
  EXPECT_FALSE(with_channels.channels[9].is_on());
}

}  // namespace
}  // namespace kavu_test
