#pragma once

#include <chrono>
#include <string>

/// Clock times as text and back. No result depends on the locale of the process.
namespace brunvik::monitoring_modules::libtimeutils {

/// Nanoseconds since 1970-01-01 00:00:00 UTC, from the year 1677 to 2262.
using time_point = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

/// The form in which times are kept: 2024-03-01T12:00:05.250000000+00:00.
inline constexpr const char* iso_8601 = "%FT%T%Oz";

/// The time as `format_string` says it, in UTC. The conversions are those of strftime; seconds
/// (%S, %T) carry nine decimal places, %Oz is the offset from UTC as +00:00.
/// Throws `std::ios_base::failure` for a conversion that cannot be carried out. [any-thread]
[[nodiscard]] std::string format(time_point time, const std::string& format_string);

/// The time that `text` stands for, an offset that %Oz reads taken into account.
///
/// Throws `could_not_parse` when the text is not wholly in that form, names a date that does not
/// exist, or one that a `time_point` cannot hold. [any-thread]
[[nodiscard]] time_point parse(const std::string& text, const std::string& format_string);

}  // namespace brunvik::monitoring_modules::libtimeutils
