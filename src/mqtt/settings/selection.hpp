#pragma once

#include <string_view>

#include "kavuhelper/settings/sensor_data_wrapper.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

/// One choice out of several. `text` is what the host sends, letter for letter.
struct selection_option {
  std::string_view text;
  int value;
};

/// The value of the option that the setting `key` names. Throws `setting_selection_parse_error`
/// with the text and `type_name` when it is none of them, the empty text included.
int parse_selection(const libkavuhelper::settings::sensor_data_wrapper& data, std::string_view key,
                    std::string_view type_name, std::initializer_list<selection_option> options);

/// "yes" or "no".
bool parse_yes_no(const libkavuhelper::settings::sensor_data_wrapper& data, std::string_view key,
                  std::string_view type_name);

}  // namespace brunvik::monitoring_modules::mqtt::settings
