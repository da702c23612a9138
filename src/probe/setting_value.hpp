#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "probe/definition.hpp"

namespace kavu_probe {

/// Why `value` cannot be a value of the setting, or nothing if it can. The text names the limit
/// or the choices, never a secret value.
std::optional<std::string> find_fault(const setting& declared, std::string_view value);

}  // namespace kavu_probe
