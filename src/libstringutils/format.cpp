#include "libstringutils/format.hpp"

#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "libstringutils/exceptions.hpp"

namespace brunvik::monitoring_modules::libstringutils {

namespace {

// The digits of a placeholder that starts at `text`'s beginning, after its percent sign; empty
// when there is none.
std::string_view placeholder_digits(std::string_view text) {
  const auto end = text.find_first_not_of("0123456789");
  const bool closed = end != std::string_view::npos && text.substr(end, 2) == ":s";
  return closed ? text.substr(0, end) : std::string_view();
}

const std::string& argument_at(std::string_view digits, std::span<const std::string> arguments) {
  std::int64_t index = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
  if (error == std::errc::result_out_of_range) {
    throw std::out_of_range("The index of a placeholder is too large.");
  }
  if (static_cast<std::uint64_t>(index) >= arguments.size()) {
    throw exceptions::placeholder_index_not_in_arguments(digits);
  }
  return arguments[static_cast<std::size_t>(index)];
}

}  // namespace

// A scanner instead of the regular expression "%([0-9]+):s|%%|%", which gives the same answers but
// recurses for every character and would overflow the stack on a long text.
std::string format(std::string_view text, std::span<const std::string> arguments) {
  std::string result;
  result.reserve(text.size());
  for (auto percent = text.find('%'); percent != std::string_view::npos; percent = text.find('%')) {
    result.append(text.substr(0, percent));
    text.remove_prefix(percent + 1);
    if (const auto digits = placeholder_digits(text); !digits.empty()) {
      result.append(argument_at(digits, arguments));
      text.remove_prefix(digits.size() + 2);
    } else if (text.starts_with('%')) {
      result.push_back('%');
      text.remove_prefix(1);
    } else {
      throw exceptions::format_string_error();
    }
  }
  result.append(text);
  return result;
}

}  // namespace brunvik::monitoring_modules::libstringutils
