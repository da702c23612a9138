#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a module says about itself in its definition document: plain values, read once and then
// only looked at. All that the host knows of a module's sensors and settings comes from here.
namespace kavu_probe {

struct setting_option {
  std::string value;
  std::string display;
};

enum class setting_type { text, selection, integer, floating_point };

struct setting {
  std::string name;
  std::string display;
  std::string help;
  /// Empty where the document has none.
  std::string default_value;
  setting_type type = setting_type::text;
  /// Text: the largest number of characters, if limited; secret ones are never shown.
  std::optional<std::int64_t> max_length;
  bool multiline = false;
  bool secure = false;
  /// Selection: what can be chosen.
  std::vector<setting_option> options;
  /// Numbers: the limits, both inclusive, those that are set.
  std::optional<std::int64_t> minimum;
  std::optional<std::int64_t> maximum;
  std::optional<double> floating_minimum;
  std::optional<double> floating_maximum;
  /// The setting matters only while another of its group has this value; empty: always.
  std::string depends_on;
  std::string condition;
  std::vector<std::string> flags;

  bool required() const;
};

struct setting_group {
  std::string name;
  std::vector<setting> settings;
};

struct setting_section {
  std::string name;
  std::string display;
  std::string scope;
  std::vector<std::string> groups;
};

struct sensor_kind {
  std::string name;
  std::string display;
  std::string description;
  std::string help;
  std::vector<std::string> sections;
  std::vector<std::string> required_checks;
  std::vector<std::string> tags;
};

struct check_kind {
  std::string name;
  std::vector<std::string> sections;
};

/// What a looked-up value means for the sensor.
enum class value_state { none, ok, warning, error };

struct lookup_value {
  std::string display;
  value_state state = value_state::none;
};

using lookup = std::map<std::int64_t, lookup_value>;
using text_table = std::map<std::string, std::string, std::less<>>;

struct definition {
  std::int64_t revision = 0;
  std::string module_name;
  std::string module_display;
  std::string module_description;
  std::string module_version;
  std::string vendor;
  std::vector<sensor_kind> sensors;
  std::vector<check_kind> checks;
  std::vector<setting_section> sections;
  std::vector<setting_group> groups;
  std::map<std::string, lookup, std::less<>> lookups;
  /// In the document's order.
  std::vector<std::string> languages;
  /// By language, then by message key.
  std::map<std::string, text_table, std::less<>> texts;

  /// Null when there is none of that name.
  const sensor_kind* find_sensor(std::string_view name) const;
  const check_kind* find_check(std::string_view name) const;
  const setting_section* find_section(std::string_view name) const;
  const setting_group* find_group(std::string_view name) const;
};

/// The scope of sections that say how to reach and prove oneself to the monitored system.
inline constexpr std::string_view credentials_scope = "SettingSectionScopeCredentials";

/// Reads a definition document. Throws probe_error, with the place in the document, when it is
/// not JSON, lacks something without which the sensors cannot be used, or something has another
/// type. Members that it does not know are ignored.
definition read_definition(std::string_view document);

}  // namespace kavu_probe
