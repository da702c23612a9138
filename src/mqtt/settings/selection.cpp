#include "mqtt/settings/selection.hpp"

#include <string>

#include "kavuhelper/utils/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

int parse_selection(const libkavuhelper::settings::sensor_data_wrapper& data, std::string_view key,
                    std::string_view type_name, std::initializer_list<selection_option> options) {
  const std::string text = data.get_value(key);
  for (const auto& option : options) {
    if (option.text == text) {
      return option.value;
    }
  }
  throw libkavuhelper::utils::exceptions::setting_selection_parse_error(text,
                                                                        std::string(type_name));
}

bool parse_yes_no(const libkavuhelper::settings::sensor_data_wrapper& data, std::string_view key,
                  std::string_view type_name) {
  return parse_selection(data, key, type_name, {{"no", 0}, {"yes", 1}}) == 1;
}

}  // namespace brunvik::monitoring_modules::mqtt::settings
