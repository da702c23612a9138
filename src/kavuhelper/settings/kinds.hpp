#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kavuhelper/settings/secure_string.hpp"

/// How the text of a setting becomes a value. Nothing here depends on the host's locale.
namespace brunvik::monitoring_modules::libkavuhelper::settings {

/// Limits of a value, both inclusive; for a text they limit its length in bytes. A limit whose
/// flag is false is not checked.
struct validation_rules {
  std::int64_t minimum = 0;
  bool is_minimum_set = false;
  std::int64_t maximum = 0;
  bool is_maximum_set = false;
};

/// Any bytes.
struct kind_string {
  /// The value unchanged. Throws `string_too_long` beyond the maximum, `setting_invalid` below the
  /// minimum.
  static std::string parse_and_validate(std::string_view value, const validation_rules& rules = {});
};

/// A secret.
struct kind_securestring {
  /// The value unchanged. Throws as `kind_string` does, without any of the value in the text.
  static secure_string parse_and_validate(secure_string value, const validation_rules& rules = {});
};

/// A decimal integer, an optional minus sign and digits and nothing else.
struct kind_integer {
  /// Empty for an empty text. Throws `setting_invalid` for anything that is not wholly a number or
  /// does not fit 64 bits, `setting_invalid_less_min` or `setting_invalid_bigger_max` beyond the
  /// rules.
  static std::optional<std::int64_t> parse_and_validate(std::string_view value,
                                                        const validation_rules& rules = {});
};

/// A decimal number with a full stop, with or without an exponent.
struct kind_float {
  /// Throws `setting_invalid` for anything that is not wholly a finite number (the empty text,
  /// "inf", "nan" and a decimal comma included), `setting_invalid_less_min` or
  /// `setting_invalid_bigger_max` beyond the rules.
  static double parse_and_validate(std::string_view value, const validation_rules& rules = {});
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
