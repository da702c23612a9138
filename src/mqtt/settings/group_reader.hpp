#pragma once

#include <string>
#include <string_view>

#include "kavuhelper/settings/kinds.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"
#include "mqtt/settings/selection.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

/// Reads the settings of one group under their flat keys. For constructors of settings records:
/// it refers to the data.
class group_reader {
 public:
  group_reader(const libkavuhelper::settings::sensor_data_wrapper& data, std::string_view section,
               std::string_view group)
      : data_(data), prefix_(std::string(section) + "." + std::string(group) + ".") {}

  [[nodiscard]] std::string key(std::string_view name) const { return prefix_ + std::string(name); }
  /// As it stands, without validation.
  [[nodiscard]] std::string raw(std::string_view name) const { return data_.get_value(key(name)); }
  [[nodiscard]] std::string text(std::string_view name) const {
    return libkavuhelper::settings::kind_string::parse_and_validate(raw(name));
  }
  [[nodiscard]] libkavuhelper::settings::secure_string secret(std::string_view name) const {
    return libkavuhelper::settings::kind_securestring::parse_and_validate(
        data_.get_secure_value(key(name)));
  }
  [[nodiscard]] double floating(std::string_view name) const {
    return libkavuhelper::settings::kind_float::parse_and_validate(raw(name));
  }
  [[nodiscard]] bool yes_no(std::string_view name) const {
    return parse_yes_no(data_, key(name), name);
  }
  [[nodiscard]] int selection(std::string_view name, std::string_view type_name,
                              std::initializer_list<selection_option> options) const {
    return parse_selection(data_, key(name), type_name, options);
  }

 private:
  const libkavuhelper::settings::sensor_data_wrapper& data_;
  std::string prefix_;
};

}  // namespace brunvik::monitoring_modules::mqtt::settings
