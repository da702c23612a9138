#include "probe/setting_value.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "probe/nearest.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

template <class Number>
std::optional<Number> parse_number(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [after, failure] = std::from_chars(text.data(), end, number);
  if (failure != std::errc() || after != end || text.empty()) {
    return std::nullopt;
  }
  return number;
}

template <class Number>
std::optional<std::string> find_limit_fault(Number value, std::optional<Number> minimum,
                                            std::optional<Number> maximum) {
  if (minimum && value < *minimum) {
    return fmt::format("{} is less than {}", value, *minimum);
  }
  if (maximum && value > *maximum) {
    return fmt::format("{} is more than {}", value, *maximum);
  }
  return std::nullopt;
}

std::optional<std::string> find_choice_fault(const setting& declared, std::string_view value) {
  std::string choices;
  std::vector<std::string_view> known;
  for (const setting_option& option : declared.options) {
    if (option.value == value) {
      return std::nullopt;
    }
    known.push_back(option.value);
    choices += (choices.empty() ? "" : ", ") + option.value;
  }
  std::string_view nearest = find_nearest(value, known);
  if (nearest.empty()) {
    // "float" for "absolute_float".
    const auto longer = std::find_if(known.begin(), known.end(), [&](std::string_view choice) {
      return choice.ends_with(fmt::format("_{}", value));
    });
    nearest = longer == known.end() ? nearest : *longer;
  }
  return fmt::format("\"{}\" is none of {}{}", quotable(value), choices,
                     nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest));
}

std::optional<std::string> find_text_fault(const setting& declared, std::string_view value) {
  const auto length = static_cast<std::int64_t>(character_count(value));
  if (declared.max_length && length > *declared.max_length) {
    return fmt::format("{} characters are more than {}", length, *declared.max_length);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> find_fault(const setting& declared, std::string_view value) {
  switch (declared.type) {
    case setting_type::text:
      return find_text_fault(declared, value);
    case setting_type::selection:
      return find_choice_fault(declared, value);
    case setting_type::integer:
      if (const auto number = parse_number<std::int64_t>(value)) {
        return find_limit_fault(*number, declared.minimum, declared.maximum);
      }
      return fmt::format("\"{}\" is not an integer", quotable(value));
    case setting_type::floating_point:
      if (const auto number = parse_number<double>(value); number && std::isfinite(*number)) {
        return find_limit_fault(*number, declared.floating_minimum, declared.floating_maximum);
      }
      return fmt::format("\"{}\" is not a number", quotable(value));
  }
  return std::nullopt;
}

}  // namespace kavu_probe
