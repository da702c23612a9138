#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace brunvik::monitoring_modules::libjsonparser {

/// A decimal number as its text has it, however many digits it has: nothing is rounded.
///
/// A double holds 2.9999999999999999999 as 3, 1e-400 as 0 and 9007199254740993.0 as ...992. Refers
/// to the text that it was made from. [any-thread]
class decimal {
 public:
  /// `number` has the form of a JSON number; leading zeros, and none before the point, are fine.
  explicit decimal(std::string_view number);

  [[nodiscard]] bool is_zero() const noexcept { return digits_.empty(); }
  [[nodiscard]] bool is_negative() const noexcept { return negative_ && !is_zero(); }
  [[nodiscard]] bool is_whole() const noexcept { return lowest_ >= 0; }

  /// Without its fraction: toward zero. Nothing beyond 64 bits.
  [[nodiscard]] std::optional<std::int64_t> truncated() const;

  /// Below 0, 0 or above 0.
  [[nodiscard]] int compare(const decimal& other) const;

 private:
  bool negative_ = false;
  std::string_view digits_;   // from the first to the last that is not zero; may hold a point
  std::int64_t highest_ = 0;  // the power of ten of the first
  std::int64_t lowest_ = 0;   // and of the last
};

}  // namespace brunvik::monitoring_modules::libjsonparser
