#pragma once

#include <cstdint>
#include <string_view>

#include "kavuhelper/settings/kinds.hpp"

namespace brunvik::monitoring_modules::mqtt::settings {

/// The number of the setting `key`, whose text is `text`. Throws the kind's failures, and
/// `setting_invalid` for an empty text, which the kind takes for "not set".
std::int64_t parse_integer(std::string_view key, std::string_view text,
                           const libkavuhelper::settings::validation_rules& rules);

}  // namespace brunvik::monitoring_modules::mqtt::settings
