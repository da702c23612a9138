#pragma once

#include <map>
#include <string>
#include <string_view>

namespace brunvik::monitoring_modules::libstringutils {

/// Replaces every "%name" in `text` by the value of the variable of that name; where two names fit,
/// the longer one wins. Values are not looked into again. A percent sign that no variable's name
/// follows stays as it is. [any-thread]
///
///     expand_variables("plant/%sensorid", {{"sensorid", "17"}}) == "plant/17"
[[nodiscard]] std::string expand_variables(std::string_view text,
                                           const std::map<std::string, std::string>& variables);

}  // namespace brunvik::monitoring_modules::libstringutils
