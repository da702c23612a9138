#pragma once

#include <array>
#include <concepts>
#include <span>
#include <string>
#include <string_view>

namespace brunvik::monitoring_modules::libstringutils {

/// Fills the placeholders of `text`: "%0:s" stands for the first argument, "%1:s" for the second,
/// and so on; "%%" stands for a percent sign. Arguments are copied as they are and never looked
/// into; each may be used any number of times or not at all.
///
/// Throws `format_string_error` for any other percent sign, `placeholder_index_not_in_arguments`
/// for an index without argument, and `std::out_of_range` for an index beyond 2^63-1.
/// Time and memory are linear in the length of text and result, the stack is not used up by any
/// input. [any-thread]
[[nodiscard]] std::string format(std::string_view text, std::span<const std::string> arguments);

/// The same with the arguments one by one.
template <class... Arguments>
requires(std::convertible_to<const Arguments&, std::string_view>&&...) [[nodiscard]] std::string
    format(std::string_view text, const Arguments&... arguments) {
  const std::array<std::string, sizeof...(Arguments)> list{
      std::string(std::string_view(arguments))...};
  return libstringutils::format(text, std::span<const std::string>(list));
}

}  // namespace brunvik::monitoring_modules::libstringutils
