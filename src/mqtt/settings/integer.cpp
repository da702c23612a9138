#include "mqtt/settings/integer.hpp"

#include <string>

#include "kavuhelper/utils/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

std::int64_t parse_integer(std::string_view key, std::string_view text,
                           const libkavuhelper::settings::validation_rules& rules) {
  const auto number = libkavuhelper::settings::kind_integer::parse_and_validate(text, rules);
  if (!number) {
    throw libkavuhelper::utils::exceptions::setting_invalid(
        "\"\"", "The setting \"" + std::string(key) + "\" needs a number.");
  }
  return *number;
}

}  // namespace brunvik::monitoring_modules::mqtt::settings
