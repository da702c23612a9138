#include "probe/settings_builder.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "probe/failure.hpp"
#include "probe/nearest.hpp"
#include "probe/setting_value.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

/// Whether `name` is the whole key or its end, from a full stop on.
bool names(std::string_view name, std::string_view key) {
  if (!key.ends_with(name)) {
    return false;
  }
  return key.size() == name.size() || key[key.size() - name.size() - 1] == '.';
}

std::string expand_default(const std::string& text, std::optional<std::int32_t> sensor_id) {
  constexpr std::string_view placeholder = "%sensorid";
  std::string result = text;
  if (sensor_id) {
    const std::string number = std::to_string(*sensor_id);
    for (std::size_t at = result.find(placeholder); at != std::string::npos;
         at = result.find(placeholder, at + number.size())) {
      result.replace(at, placeholder.size(), number);
    }
  }
  return result;
}

/// What gave a setting twice, as it was typed; the key where nothing was.
[[noreturn]] void refuse_second(std::string_view key, std::string_view first,
                                std::string_view second) {
  if (first.empty() || first == second) {
    throw usage_error(fmt::format("{} is given twice.", second.empty() ? key : second));
  }
  throw usage_error(fmt::format("{} and {} are the same setting, {}.", first, second, key));
}

}  // namespace

settings_builder::settings_builder(const definition& source,
                                   const std::vector<std::string>& sections,
                                   std::optional<std::int32_t> sensor_id) {
  for (const std::string& section_name : sections) {
    const setting_section* section = source.find_section(section_name);
    if (section == nullptr) {
      throw probe_error("The module's definition document has no section " + section_name + ".");
    }
    for (const std::string& group_name : section->groups) {
      const setting_group* group = source.find_group(group_name);
      if (group == nullptr) {
        throw probe_error("The module's definition document has no group " + group_name + ".");
      }
      for (const setting& declared : group->settings) {
        entries_.push_back({fmt::format("{}.{}.{}", section_name, group_name, declared.name),
                            &declared, declared.secure,
                            secret(expand_default(declared.default_value, sensor_id)),
                            /*given=*/false, ""});
      }
    }
  }
}

settings_builder::entry* settings_builder::find(std::string_view name) {
  entry* found = nullptr;
  for (entry& item : entries_) {
    if (item.key == name) {
      return &item;
    }
    if (names(name, item.key)) {
      if (found != nullptr) {
        throw usage_error(
            fmt::format("\"{}\" may mean {} or {}.", quotable(name), found->key, item.key));
      }
      found = &item;
    }
  }
  return found;
}

bool settings_builder::has(std::string_view name) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [name](const entry& item) { return names(name, item.key); });
}

bool settings_builder::is_secure(std::string_view name) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [name](const entry& item) { return item.secure && names(name, item.key); });
}

void settings_builder::set(std::string_view name, std::string_view value, std::string_view option) {
  entry* item = find(name);
  if (item == nullptr) {
    std::vector<std::string_view> known;
    for (const entry& other : entries_) {
      const std::string_view key = other.key;
      known.push_back(name.find('.') == std::string_view::npos ? key.substr(key.rfind('.') + 1)
                                                               : key);
    }
    throw usage_error(fmt::format("The module has no setting \"{}\" here{}", quotable(name),
                                  did_you_mean(name, known)));
  }
  if (item->given) {
    refuse_second(item->key, item->option, option);
  }
  if (item->declared != nullptr) {
    if (const auto fault = find_fault(*item->declared, value)) {
      throw usage_error(fmt::format("{}{}{} ({}): {}{}", option, option.empty() ? "" : ": ",
                                    item->declared->display, item->key, *fault,
                                    fault->ends_with('?') ? "" : "."));
    }
  }
  item->value = secret(std::string(value));
  item->given = true;
  item->option = option;
}

void settings_builder::add(std::string key, std::string value) {
  entries_.push_back({std::move(key), nullptr, false, secret(std::move(value)), false, ""});
}

void settings_builder::add_secret(std::string key, secret value) {
  entries_.push_back({std::move(key), nullptr, true, std::move(value), false, ""});
}

const std::string* settings_builder::find_value(std::string_view name) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [name](const entry& item) { return names(name, item.key); });
  return found == entries_.end() ? nullptr : &found->value.text();
}

const settings_builder::entry* settings_builder::find_sibling(const entry& item,
                                                              std::string_view name) const {
  const std::string_view key = item.key;
  const std::string sibling = fmt::format("{}{}", key.substr(0, key.rfind('.') + 1), name);
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const entry& other) { return other.key == sibling; });
  return found == entries_.end() ? nullptr : &*found;
}

const settings_builder::entry* settings_builder::find_off_switch(const entry& item) const {
  // A chain of conditions is as long as the group at most; a ring in it would have no end.
  const entry* current = &item;
  for (std::size_t step = 0; step < entries_.size() && !current->declared->depends_on.empty();
       ++step) {
    const entry* switch_entry = find_sibling(*current, current->declared->depends_on);
    if (switch_entry == nullptr) {
      return nullptr;
    }
    if (switch_entry->value.text() != current->declared->condition) {
      return switch_entry;
    }
    current = switch_entry;
  }
  return nullptr;
}

void settings_builder::check() const {
  for (const entry& item : entries_) {
    if (item.declared == nullptr) {
      continue;
    }
    const entry* const off = find_off_switch(item);
    if (off == nullptr && item.declared->required() && item.value.empty()) {
      throw usage_error(
          fmt::format("{} ({}) must not be empty.", item.declared->display, item.key));
    }
    if (off != nullptr && item.given) {
      throw usage_error(fmt::format("{} ({}) has no effect while {} is \"{}\".",
                                    item.declared->display, item.key, off->key,
                                    quotable(off->value.text())));
    }
  }
}

}  // namespace kavu_probe
