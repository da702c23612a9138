#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "probe/options.hpp"

// Options whose value has a grammar of its own.
namespace kavu_probe {

/// Reads "name=temp,path=$.t[?(@.a,b)],type=absolute_float,unit=C,scale=0.1" in any order.
///
/// A comma separates only before one of these five keys with its "=", so that a path may hold
/// commas. Throws usage_error when name or path is missing, a key stands twice, the text does not
/// start with one, or a comma is followed by what looks like a mistyped one.
channel_option parse_channel_option(std::string_view text);

/// Reads "section.group.setting=value"; the value may hold anything. Throws usage_error without a
/// name or "=".
named_value parse_setting_option(std::string_view text);

/// Reads seconds with an optional fraction ("2", "0.25"). Throws usage_error, naming `option`,
/// unless they are between a millisecond and a year.
std::chrono::nanoseconds parse_seconds(std::string_view option, std::string_view text);

/// For an option whose empty text would be taken for its default: why `text` cannot be meant, or
/// nothing.
std::string not_empty(const std::string& text);

/// The same for a whole number within limits, both inclusive.
std::function<std::string(const std::string&)> whole_number_check(std::int64_t least,
                                                                  std::int64_t most);

}  // namespace kavu_probe
