#pragma once

#include <span>
#include <string_view>

namespace brunvik::monitoring_modules::definition {

/// The document in its order, cut into pieces of at most 5000 characters: compilers promise to take
/// string literals of 65,536 bytes only. Constants, there before any code runs.
std::span<const std::string_view> definition_pieces() noexcept;

}  // namespace brunvik::monitoring_modules::definition
