#include "probe/message_reference.hpp"

#include <charconv>

namespace kavu_probe {
namespace {

constexpr std::string_view reference_mark = "#:";
constexpr std::string_view escaped_characters = "#,:[\\]";

/// Reads the arguments from behind the opening bracket to the closing one, which must be the last
/// character.
std::optional<std::vector<std::string>> parse_arguments(std::string_view text) {
  std::vector<std::string> arguments(1);
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char character = text[at];
    if (character == '\\') {
      ++at;
      if (at == text.size() || escaped_characters.find(text[at]) == std::string_view::npos) {
        return std::nullopt;
      }
      arguments.back() += text[at];
    } else if (character == ',') {
      arguments.emplace_back();
    } else if (character == ']') {
      return at + 1 == text.size() ? std::optional(std::move(arguments)) : std::nullopt;
    } else if (escaped_characters.find(character) != std::string_view::npos) {
      return std::nullopt;
    } else {
      arguments.back() += character;
    }
  }
  return std::nullopt;
}

/// The length of the placeholder at the start of `text`, and in `index` the argument it names.
std::optional<std::size_t> read_placeholder(std::string_view text, std::size_t& index) {
  const char* const end = text.data() + text.size();
  const auto [after, failure] = std::from_chars(text.data() + 1, end, index);
  if (failure != std::errc() || end - after < 2 || after[0] != ':' || after[1] != 's') {
    return std::nullopt;
  }
  return static_cast<std::size_t>(after - text.data()) + 2;
}

}  // namespace

std::optional<message_reference> parse_message_reference(std::string_view text) {
  if (!text.starts_with(reference_mark)) {
    return message_reference{std::string(text), {}};
  }
  text.remove_prefix(reference_mark.size());
  const std::size_t bracket = text.find('[');
  if (bracket == 0 || bracket == std::string_view::npos) {
    return std::nullopt;
  }
  auto arguments = parse_arguments(text.substr(bracket + 1));
  if (!arguments) {
    return std::nullopt;
  }
  return message_reference{std::string(text.substr(0, bracket)), std::move(*arguments)};
}

std::optional<std::string> fill_in(std::string_view text, std::span<const std::string> arguments) {
  std::string result;
  for (std::size_t percent = text.find('%'); percent != std::string_view::npos;
       percent = text.find('%')) {
    result += text.substr(0, percent);
    text.remove_prefix(percent);
    std::size_t index = 0;
    if (const auto length = read_placeholder(text, index)) {
      if (index >= arguments.size()) {
        return std::nullopt;
      }
      result += arguments[index];
      text.remove_prefix(*length);
    } else if (text.starts_with("%%")) {
      result += '%';
      text.remove_prefix(2);
    } else {
      return std::nullopt;
    }
  }
  result += text;
  return result;
}

}  // namespace kavu_probe
