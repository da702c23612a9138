#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// Numbers at the beginning of a text, whatever follows, as the C library's conversions read them
/// after blanks and a sign, but without the locale of the process. [any-thread]
namespace brunvik::monitoring_modules::libjsonparser {

/// Nothing when there are no digits or the number is beyond 64 bits, and also for "1e3" and "0x10":
/// taking 1 and 0 for these would show a wrong number as a right one.
[[nodiscard]] std::optional<std::int64_t> leading_integer(std::string_view text);

/// Decimal or, after "0x", hexadecimal. Nothing when there is no number, for the words "inf" and
/// "nan", and when the number is too large or too small for a double.
[[nodiscard]] std::optional<double> leading_float(std::string_view text);

/// The nearest double of a whole text that is a JSON number: infinite when it is too large, zero
/// when it is too small.
[[nodiscard]] double nearest_double(std::string_view number) noexcept;

}  // namespace brunvik::monitoring_modules::libjsonparser
