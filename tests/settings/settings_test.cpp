// What the definition document offers to the user is what the records read, and the other way
// round. Both sides are asked: the document is read, the records are fed.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>

#include "definition/module_definition.hpp"
#include "settings/records.hpp"

namespace kavu_test {
namespace {

using nlohmann::json;

const json& document() {
  static const json parsed =
      json::parse(brunvik::monitoring_modules::definition::module_definition_document());
  return parsed;
}

/// What a host sends of its own accord; the document does not speak of it.
const setting_texts host_texts{{"host", "127.0.0.1"}, {"logging", "disabled"},
                               {"timeout", "10"},     {"brunvikcloudapikey", ""},
                               {"ipversion", "IPv4"}, {"interval", "60"}};

class agreement : public testing::TestWithParam<const record*> {
 protected:
  std::string failure_with(const std::string& key, const std::string& text) const {
    return GetParam()->failure(with(texts, key, text));
  }

 private:
  std::map<std::string, json> offered() const {
    std::map<std::string, json> found;
    for (const json& section : sections()) {
      for (const json& group : document().at("Sections").at(section).at("Groups")) {
        for (const json& item : document().at("Groups").at(group).at("Items")) {
          const json& setting = item.at("Setting");
          const std::string key = section.get<std::string>() + "." + group.get<std::string>() +
                                  "." + setting.at("Name").get<std::string>();
          EXPECT_TRUE(found.emplace(key, setting).second) << key;
        }
      }
    }
    return found;
  }

  setting_texts filled_in() const {
    setting_texts made = host_texts;
    for (const auto& [key, setting] : settings) {
      made[key] = setting.value("Default", is_required(setting) ? "filled in" : "");
    }
    return made;
  }

  const json& sections() const {
    const json& sensors = document().at("Sensors");
    const std::string name = GetParam()->name;
    return sensors.contains(name) ? sensors.at(name).at("Settings").at("Sections")
                                  : document().at("Checks").at(name).at("Sections");
  }
  static bool is_required(const json& setting) {
    const json flags = setting.value("Flags", json::array());
    return std::find(flags.begin(), flags.end(), "SettingFlagRequired") != flags.end();
  }

 protected:
  /// The settings that the document gives to this sensor or check, by flat key.
  const std::map<std::string, json> settings = offered();
  /// What a host sends when the user has filled in what he must.
  const setting_texts texts = filled_in();
};

INSTANTIATE_TEST_SUITE_P(sensors_and_check, agreement,
                         testing::Values(&roundtrip_record, &statistics_record, &custom_record,
                                         &check_record),
                         [](const auto& kind) { return std::string(kind.param->name); });

TEST_P(agreement, the_record_reads_what_the_document_offers_and_nothing_else) {
  EXPECT_EQ(GetParam()->failure(texts), "");
  std::set<std::string> offered;
  for (const auto& [key, setting] : settings) {
    offered.insert(key);
  }
  std::set<std::string> read;
  const auto text_of = [&](const auto& key) { return texts.contains(key) ? texts.at(key) : ""; };
  for (const auto& key : GetParam()->required_keys(text_of)) {
    if (!host_texts.contains(key)) {
      read.insert(key);
    }
  }
  EXPECT_EQ(read, offered);
}

std::set<std::string> options(const json& setting) {
  std::set<std::string> values;
  for (const json& option : setting.at("Selection").at("Options")) {
    values.insert(option.at("Value"));
  }
  return values;
}

TEST_P(agreement, a_selection_takes_the_options_of_the_document_and_nothing_else) {
  std::set<std::string> candidates{"", "0", "1", "no such option", "enabled", "disabled"};
  for (const auto& [key, setting] : settings) {
    if (setting.contains("Selection")) {
      candidates.merge(options(setting));
    }
  }
  for (const auto& [key, setting] : settings) {
    const bool is_selection = setting.contains("Selection");
    for (const auto& text : candidates) {
      const std::string failure = failure_with(key, text);
      const bool is_taken =
          failure.find("could not be parsed into selection type") == std::string::npos;
      EXPECT_EQ(is_taken, !is_selection || options(setting).contains(text)) << key << " " << text;
    }
  }
}

TEST_P(agreement, a_number_has_the_limits_of_the_document) {
  for (const auto& [key, setting] : settings) {
    const bool is_integer = setting.contains("IntegerSigned");
    const bool is_number = is_integer || setting.contains("Floatingpoint");
    EXPECT_EQ(failure_with(key, "one").find(" is invalid. ") != std::string::npos, is_number)
        << key;
    if (!is_number) {
      continue;
    }
    const json& type = setting.at(is_integer ? "IntegerSigned" : "Floatingpoint");
    const auto minimum = type.at("Minimum").get<std::int64_t>();
    const auto maximum = type.at("Maximum").get<std::int64_t>();
    const auto fails = [&, &of = key](std::int64_t value) {
      return !failure_with(of, std::to_string(value)).empty();
    };
    EXPECT_FALSE(fails(minimum)) << key;
    EXPECT_FALSE(fails(maximum)) << key;
    EXPECT_EQ(fails(minimum - 1), type.at("IsMinimumSet").get<bool>()) << key;
    EXPECT_EQ(fails(maximum + 1), type.at("IsMaximumSet").get<bool>()) << key;
  }
}

}  // namespace
}  // namespace kavu_test
