#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Numbers at the beginning of a text, whatever follows, as the C library's conversions read them
/// after blanks and a sign, but without the locale of the process. [any-thread]
namespace brunvik::monitoring_modules::libjsonparser {

/// Nothing when there are no digits or the number is beyond 64 bits, and also for "1e3" and "0x10":
/// taking 1 and 0 for these would show a wrong number as a right one.
[[nodiscard]] std::optional<std::int64_t> leading_integer(std::string_view text);

struct leading_number {
  double value = 0;
  std::string_view digits;  // without a sign; empty for a hexadecimal number
};

/// Decimal or, after "0x", hexadecimal. Nothing when there is no number, for the words "inf" and
/// "nan", and when the number is too large or too small for a double.
[[nodiscard]] std::optional<leading_number> leading_float(std::string_view text);

/// A text that is a decimal number between blanks and nothing else, in the form of JSON: "5" for
/// "+05", "0.5" for ".5".
[[nodiscard]] std::optional<std::string> whole_number(std::string_view text);

/// The nearest double of a whole text that is a JSON number: infinite when it is too large, zero
/// when it is too small.
[[nodiscard]] double nearest_double(std::string_view number) noexcept;

/// 2^53: from here on a double stands for several integers.
inline constexpr double first_inexact_integer = 9007199254740992.0;

/// Whether that JSON number may be used as its nearest double: this is below
/// `first_inexact_integer`, and whole, zero too, only when the number is. A fraction with more
/// digits than a double has, such as the 21.100000000000001 that many devices print for 21.1, may.
[[nodiscard]] bool may_stand_for(double value, std::string_view number);

}  // namespace brunvik::monitoring_modules::libjsonparser
