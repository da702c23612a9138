#include "probe/definition.hpp"

#include <algorithm>

namespace kavu_probe {
namespace {

template <class Item>
const Item* find_by_name(const std::vector<Item>& items, std::string_view name) {
  const auto found = std::find_if(items.begin(), items.end(),
                                  [name](const Item& item) { return item.name == name; });
  return found == items.end() ? nullptr : &*found;
}

}  // namespace

bool setting::required() const {
  return std::find(flags.begin(), flags.end(), "SettingFlagRequired") != flags.end();
}

const sensor_kind* definition::find_sensor(std::string_view name) const {
  return find_by_name(sensors, name);
}

const check_kind* definition::find_check(std::string_view name) const {
  return find_by_name(checks, name);
}

const setting_section* definition::find_section(std::string_view name) const {
  return find_by_name(sections, name);
}

const setting_group* definition::find_group(std::string_view name) const {
  return find_by_name(groups, name);
}

}  // namespace kavu_probe
