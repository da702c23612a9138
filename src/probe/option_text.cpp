#include "probe/option_text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "probe/failure.hpp"
#include "probe/nearest.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

constexpr std::array<std::string_view, 5> channel_keys = {"name", "path", "type", "unit", "scale"};

/// The channel key that `text` starts with, its "=" included; empty when there is none.
std::string_view leading_key(std::string_view text) {
  for (const std::string_view key : channel_keys) {
    if (text.starts_with(key) && text.substr(key.size()).starts_with('=')) {
      return key;
    }
  }
  return {};
}

std::size_t find_separator(std::string_view text) {
  for (std::size_t comma = text.find(','); comma != std::string_view::npos;
       comma = text.find(',', comma + 1)) {
    if (!leading_key(text.substr(comma + 1)).empty()) {
      return comma;
    }
  }
  return text.size();
}

/// The word before "=" that `text` starts with, if it looks like a key; "==" and "=~" belong to
/// expressions.
std::string_view leading_word(std::string_view text) {
  const std::size_t end = text.find_first_not_of(
      "abcdefghijklmnopqrstuvwxyz"
      "ABCDEFGHIJKLMNOPQRSTUVWXYZ_-");
  if (end == 0 || end == std::string_view::npos || text[end] != '=') {
    return {};
  }
  const bool operation = end + 1 < text.size() && (text[end + 1] == '=' || text[end + 1] == '~');
  return operation ? std::string_view() : text.substr(0, end);
}

/// The first word in a value that was probably meant as a key. A name, a unit and what stands in
/// brackets may hold anything, so there only a word like one of the keys is one, unless `any`.
std::string_view find_mistyped_key(std::string_view key, std::string_view value, bool any) {
  int depth = 0;
  for (std::size_t at = 0; at < value.size(); ++at) {
    depth += value[at] == '[' || value[at] == '(' ? 1 : 0;
    depth -= value[at] == ']' || value[at] == ')' ? 1 : 0;
    if (value[at] != ',' || depth > 0) {
      continue;
    }
    const std::string_view word = leading_word(value.substr(at + 1));
    const bool free_text = key == "name" || key == "unit";
    if (!word.empty() && (any || !free_text || !find_nearest(word, channel_keys).empty())) {
      return word;
    }
  }
  return {};
}

class channel_parser {
 public:
  explicit channel_parser(std::string_view text) : text_(text) {}

  channel_option parse() {
    for (std::string_view rest = text_;;) {
      const std::string_view key = leading_key(rest);
      if (key.empty()) {
        const std::string_view word = leading_word(rest);
        if (word.empty()) {
          fail("expected one of name=, path=, type=, unit=, scale=");
        }
        fail_at_key(word);
      }
      rest.remove_prefix(key.size() + 1);
      const std::size_t end = find_separator(rest);
      values_[position(key)] = take(key, rest.substr(0, end));
      if (end == rest.size()) {
        break;
      }
      rest.remove_prefix(end + 1);
    }
    const bool complete = values_[0] && values_[1];
    for (const std::string_view key : channel_keys) {
      const auto& value = values_[position(key)];
      const std::string_view word =
          value ? find_mistyped_key(key, *value, !complete) : std::string_view();
      if (!word.empty()) {
        fail_at_key(word);
      }
    }
    if (!complete) {
      fail("name= and path= are needed");
    }
    return {*values_[0], *values_[1], values_[2], values_[3], values_[4]};
  }

 private:
  static std::size_t position(std::string_view key) {
    return static_cast<std::size_t>(std::find(channel_keys.begin(), channel_keys.end(), key) -
                                    channel_keys.begin());
  }

  std::string take(std::string_view key, std::string_view value) {
    if (values_[position(key)]) {
      fail(fmt::format("{}= stands twice", key));
    }
    return std::string(value);
  }

  [[noreturn]] void fail_at_key(std::string_view word) const {
    const std::string_view nearest = find_nearest(word, channel_keys);
    const std::string rest = nearest.empty() ? "the keys are name, path, type, unit and scale"
                                             : fmt::format("did you mean {}=?", nearest);
    throw usage_error(fmt::format("--channel \"{}\": there is no key {}=; {}{}", quotable(text_),
                                  quotable(word), rest, nearest.empty() ? "." : ""));
  }

  [[noreturn]] void fail(std::string_view why) const {
    throw usage_error(fmt::format("--channel \"{}\": {}.", quotable(text_), why));
  }

  std::string_view text_;
  std::array<std::optional<std::string>, channel_keys.size()> values_;
};

}  // namespace

channel_option parse_channel_option(std::string_view text) {
  return channel_parser(text).parse();
}

named_value parse_setting_option(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == 0 || equals == std::string_view::npos) {
    throw usage_error(fmt::format("--set \"{}\": expected NAME=VALUE.", quotable(text)));
  }
  const std::string name(text.substr(0, equals));
  return {name, std::string(text.substr(equals + 1)), fmt::format("--set {}", quotable(name))};
}

std::chrono::nanoseconds parse_seconds(std::string_view option, std::string_view text) {
  constexpr double shortest = 0.001;
  constexpr double longest = 365.0 * 24 * 3600;
  double seconds = 0;
  const char* const end = text.data() + text.size();
  const auto [after, failure] = std::from_chars(text.data(), end, seconds);
  // Written so that "nan", which from_chars reads, does not pass.
  if (failure != std::errc() || after != end || !(seconds >= shortest && seconds <= longest)) {
    throw usage_error(fmt::format("{} \"{}\": expected seconds between {} and {}.", option,
                                  quotable(text), shortest, longest));
  }
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::chrono::duration<double>(seconds));
}

std::string not_empty(const std::string& text) {
  return text.empty() ? "a value is needed" : "";
}

std::function<std::string(const std::string&)> whole_number_check(std::int64_t least,
                                                                  std::int64_t most) {
  return [least, most](const std::string& text) -> std::string {
    if (text.empty()) {
      return not_empty(text);
    }
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [after, failure] = std::from_chars(text.data(), end, number);
    if (failure == std::errc() && after == end && number >= least && number <= most) {
      return "";
    }
    return fmt::format("\"{}\" is not a whole number from {} to {}", quotable(text), least, most);
  };
}

}  // namespace kavu_probe
