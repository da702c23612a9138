#include "probe/topic_rules.hpp"

#include <fmt/format.h>

#include "probe/failure.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

constexpr std::size_t longest_string = 65'535;

// The standard forbids the first of them and lets brokers end a connection for all.
bool is_control(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

std::optional<std::string> find_text_fault(std::string_view text) {
  if (text.empty()) {
    return "is empty";
  }
  if (auto fault = find_string_fault(text)) {
    return fault;
  }
  while (!text.empty()) {
    const char32_t character = take_character(text);
    if (is_control(character)) {
      return fmt::format("holds the control character U+{:04X}",
                         static_cast<std::uint32_t>(character));
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> find_string_fault(std::string_view text) {
  if (text.size() > longest_string) {
    return fmt::format("has {} bytes, more than {}", text.size(), longest_string);
  }
  if (valid_utf8(text) != text) {
    return "is not UTF-8";
  }
  return std::nullopt;
}

void check_string(std::string_view option, std::string_view text) {
  if (const auto fault = find_string_fault(text)) {
    throw usage_error(fmt::format("{} {}.", option, *fault));
  }
}

std::optional<std::string> find_filter_fault(std::string_view filter) {
  if (auto fault = find_text_fault(filter)) {
    return fault;
  }
  if (filter.starts_with("$share/")) {
    return "is a shared subscription, and these are not supported";
  }
  for (std::size_t at = filter.find_first_of("+#"); at != std::string_view::npos;
       at = filter.find_first_of("+#", at + 1)) {
    const char wildcard = filter[at];
    const bool begins_level = at == 0 || filter[at - 1] == '/';
    const bool last = at + 1 == filter.size();
    const bool ends_level = last || filter[at + 1] == '/';
    if (!begins_level || !ends_level) {
      return fmt::format("has a \"{}\" that does not fill its level", wildcard);
    }
    if (wildcard == '#' && !last) {
      return "has a \"#\" before its last level";
    }
  }
  return std::nullopt;
}

std::optional<std::string> find_topic_fault(std::string_view topic) {
  if (auto fault = find_text_fault(topic)) {
    return fault;
  }
  const std::size_t wildcard = topic.find_first_of("+#");
  if (wildcard != std::string_view::npos) {
    return fmt::format("holds the wildcard \"{}\", and nobody can publish to that",
                       topic[wildcard]);
  }
  return std::nullopt;
}

}  // namespace kavu_probe
