#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "probe/definition.hpp"
#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

// The ordered form: sensors, settings and languages are shown in the document's own order.
using json = nlohmann::ordered_json;

/// A value of the document that knows where it stands, so that a failure can say so.
class node {
 public:
  node(const json& value, std::string place) : value_(value), place_(std::move(place)) {}

  [[noreturn]] void fail(std::string_view why) const {
    throw probe_error(fmt::format("The module's definition document: {} {}.",
                                  place_.empty() ? "it" : place_, why));
  }

  std::optional<node> find(const std::string& member) const {
    if (!value_.is_object()) {
      fail("is not an object");
    }
    const auto found = value_.find(member);
    if (found == value_.end()) {
      return std::nullopt;
    }
    return node(*found, place_.empty() ? member : place_ + "." + member);
  }

  node at(const std::string& member) const {
    auto found = find(member);
    if (!found) {
      fail("has no member " + member);
    }
    return *found;
  }

  std::string text() const {
    if (!value_.is_string()) {
      fail("is not a text");
    }
    return value_.get<std::string>();
  }

  std::string text_or_empty(const std::string& member) const {
    const auto found = find(member);
    return found ? found->text() : std::string();
  }

  bool flag(const std::string& member) const {
    const auto found = find(member);
    return found && found->value_.is_boolean() && found->value_.get<bool>();
  }

  std::int64_t integer() const {
    if (!value_.is_number_integer() ||
        (value_.is_number_unsigned() && value_.get<std::uint64_t>() > INT64_MAX)) {
      fail("is not a 64-bit integer");
    }
    return value_.get<std::int64_t>();
  }

  double floating_point() const {
    if (!value_.is_number()) {
      fail("is not a number");
    }
    return value_.get<double>();
  }

  /// Calls `use` with each element of a list.
  template <class Use>
  void each_element(Use&& use) const {
    if (!value_.is_array()) {
      fail("is not a list");
    }
    for (std::size_t index = 0; index < value_.size(); ++index) {
      use(node(value_[index], fmt::format("{}[{}]", place_, index)));
    }
  }

  /// Calls `use` with name and value of each member.
  template <class Use>
  void each_member(Use&& use) const {
    if (!value_.is_object()) {
      fail("is not an object");
    }
    for (const auto& [name, value] : value_.items()) {
      use(name, node(value, place_ + "." + name));
    }
  }

  std::vector<std::string> texts_or_empty(const std::string& member) const {
    std::vector<std::string> texts;
    if (const auto found = find(member)) {
      found->each_element([&](const node& element) { texts.push_back(element.text()); });
    }
    return texts;
  }

 private:
  const json& value_;
  std::string place_;
};

template <class Number, class Read>
void read_limits(const node& type, std::optional<Number>& minimum, std::optional<Number>& maximum,
                 Read&& read) {
  if (type.flag("IsMinimumSet")) {
    minimum = read(type.at("Minimum"));
  }
  if (type.flag("IsMaximumSet")) {
    maximum = read(type.at("Maximum"));
  }
}

void read_type(const node& source, setting& target) {
  if (const auto text = source.find("Text")) {
    target.type = setting_type::text;
    if (const auto length = text->find("Maxlength")) {
      target.max_length = length->integer();
    }
    target.multiline = text->flag("Multiline");
    target.secure = text->text_or_empty("Security") == "SettingSecurityHigh";
  } else if (const auto selection = source.find("Selection")) {
    target.type = setting_type::selection;
    selection->at("Options").each_element([&](const node& option) {
      target.options.push_back({option.at("Value").text(), option.text_or_empty("Display")});
    });
  } else if (const auto integer = source.find("IntegerSigned")) {
    target.type = setting_type::integer;
    read_limits(*integer, target.minimum, target.maximum,
                [](const node& limit) { return limit.integer(); });
  } else if (const auto floating = source.find("Floatingpoint")) {
    target.type = setting_type::floating_point;
    read_limits(*floating, target.floating_minimum, target.floating_maximum,
                [](const node& limit) { return limit.floating_point(); });
  } else {
    source.fail("has no type that this program knows");
  }
}

setting read_setting(const node& item) {
  const node source = item.at("Setting");
  setting result;
  result.name = source.at("Name").text();
  result.display = source.text_or_empty("Display");
  result.help = source.text_or_empty("Help");
  result.default_value = source.text_or_empty("Default");
  result.depends_on = item.text_or_empty("DependsOn");
  result.condition = item.text_or_empty("Condition");
  result.flags = source.texts_or_empty("Flags");
  read_type(source, result);
  return result;
}

value_state state_from(const std::string& name) {
  if (name == "LookupValueStateOk") {
    return value_state::ok;
  }
  if (name == "LookupValueStateWarning") {
    return value_state::warning;
  }
  return name == "LookupValueStateError" ? value_state::error : value_state::none;
}

lookup read_lookup(const node& source) {
  lookup result;
  source.at("LookupValues").each_element([&](const node& value) {
    result[value.at("Value").integer()] = {value.text_or_empty("Display"),
                                           state_from(value.text_or_empty("State"))};
  });
  return result;
}

void read_sensors_and_checks(const node& root, definition& target) {
  root.at("Sensors").each_member([&](const std::string& name, const node& source) {
    target.sensors.push_back(
        {name, source.text_or_empty("Display"), source.text_or_empty("Description"),
         source.text_or_empty("Help"), source.at("Settings").texts_or_empty("Sections"),
         source.texts_or_empty("RequiredChecks"), source.texts_or_empty("Tags")});
  });
  if (const auto checks = root.find("Checks")) {
    checks->each_member([&](const std::string& name, const node& source) {
      target.checks.push_back({name, source.texts_or_empty("Sections")});
    });
  }
}

void read_settings(const node& root, definition& target) {
  root.at("Sections").each_member([&](const std::string& name, const node& source) {
    target.sections.push_back({name, source.text_or_empty("Display"), source.text_or_empty("Scope"),
                               source.texts_or_empty("Groups")});
  });
  root.at("Groups").each_member([&](const std::string& name, const node& source) {
    setting_group group{name, {}};
    source.at("Items").each_element(
        [&](const node& item) { group.settings.push_back(read_setting(item)); });
    target.groups.push_back(std::move(group));
  });
}

void read_texts(const node& root, definition& target) {
  const auto texts = root.find("Text");
  if (!texts) {
    return;
  }
  texts->each_member([&](const std::string& language, const node& source) {
    target.languages.push_back(language);
    text_table& table = target.texts[language];
    source.at("Translation").each_member([&](const std::string& key, const node& entry) {
      table[key] = entry.at("Display").text();
    });
  });
}

json parse(std::string_view document) {
  try {
    return json::parse(document);
  } catch (const json::exception& failure) {
    throw probe_error(
        fmt::format("The module's definition document is not JSON: {}", failure.what()));
  }
}

}  // namespace

definition read_definition(std::string_view document) {
  const json parsed = parse(document);
  const node root(parsed, "");
  definition result;
  if (const auto revision = root.find("Revision")) {
    result.revision = revision->integer();
  }
  if (const auto meta = root.find("MetaData")) {
    result.module_name = meta->text_or_empty("Name");
    result.module_display = meta->text_or_empty("Display");
    result.module_description = meta->text_or_empty("Description");
    result.module_version = meta->text_or_empty("Version");
    result.vendor = meta->text_or_empty("Vendor");
  }
  read_sensors_and_checks(root, result);
  read_settings(root, result);
  if (const auto lookups = root.find("Lookups")) {
    lookups->each_member([&](const std::string& name, const node& source) {
      result.lookups[name] = read_lookup(source);
    });
  }
  read_texts(root, result);
  return result;
}

}  // namespace kavu_probe
