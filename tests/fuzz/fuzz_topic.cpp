// First line: a filter; the rest: a topic.

#include <iconv.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/fuzz_input.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/topic_filter.hpp"
#include "mqtt/transportable.hpp"

namespace {

namespace mqtt = brunvik::monitoring_modules::mqtt;
using kavu_test::require;
using mqtt::exceptions::invalid_topic;

bool is_wildcard_character(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == ' ' ||
         c == '_' || c == '.' || c == '-';
}

bool wildcards_stand_for_levels(std::string_view filter) {
  for (bool last = false; !last;) {
    last = filter.find('/') == std::string_view::npos;
    const auto level = kavu_test::take_until(filter, "/");
    const bool plain = level.find_first_of("+#") == std::string_view::npos;
    if (!plain && level != "+" && !(level == "#" && last)) {
      return false;
    }
  }
  return true;
}

// Row by row: which beginnings of the topic the filter's beginning covers.
bool covers(std::string_view filter, std::string_view topic) {
  std::vector<char> row(topic.size() + 1, 0);
  row[0] = 1;
  for (const char c : filter) {
    std::vector<char> next(row.size(), 0);
    for (std::size_t at = 0; at < row.size(); ++at) {
      if (c == '+' || c == '#') {
        const bool fits =
            at > 0 && (is_wildcard_character(topic[at - 1]) || (c == '#' && topic[at - 1] == '/'));
        next[at] = row[at] != 0 || (fits && next[at - 1] != 0);
      } else {
        next[at] = at > 0 && topic[at - 1] == c && row[at - 1] != 0;
      }
    }
    row.swap(next);
  }
  return row.back() != 0;
}

// Level by level, as the standard says it.
bool is_delivered(std::string_view filter, std::string_view topic) {
  if (filter.starts_with("$share/") && filter.find('/', 7) != std::string_view::npos) {
    filter.remove_prefix(filter.find('/', 7) + 1);
  }
  if (topic.starts_with('$') && (filter.starts_with('+') || filter.starts_with('#'))) {
    return false;
  }
  for (bool more_topic = true;;) {
    const bool more_filter = filter.find('/') != std::string_view::npos;
    const auto level = kavu_test::take_until(filter, "/");
    if (level == "#" || !more_topic) {
      return level == "#";
    }
    more_topic = topic.find('/') != std::string_view::npos;
    const auto name = kavu_test::take_until(topic, "/");
    if (level != "+" && level != name) {
      return false;
    }
    if (!more_filter) {
      return !more_topic;
    }
  }
}

void check_matching(std::string_view filter, std::string_view topic) {
  bool matches = false;
  bool leaves_out = false;
  const bool valid = kavu_test::succeeds<invalid_topic>([&] {
    const mqtt::topic_filter parsed{std::string(filter)};
    matches = parsed.matches(topic);
    leaves_out = parsed.leaves_out(topic);
  });
  require(valid == wildcards_stand_for_levels(filter), "a filter's wildcards stand for levels");
  if (!valid) {
    return;
  }
  if (filter.size() * topic.size() < 100'000) {
    require(matches == covers(filter, topic), "a filter matches what it covers");
    require(leaves_out == (is_delivered(filter, topic) && !matches),
            "a filter leaves out what is delivered for it and not covered");
  }
}

// What brokers close a connection for, beside what is no UTF-8: controls and what is no character.
bool is_refused(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0xD800 && c < 0xE000) ||
         (c >= 0xFDD0 && c < 0xFDF0) || (c & 0xFFFEU) == 0xFFFE || c > 0x10FFFF;
}

// The C library reads the characters.
bool is_clean(std::string text) {
  static const iconv_t converter = iconv_open("UCS-4LE", "UTF-8");
  std::u32string characters(text.size(), U'\0');
  char* in = text.data();
  char* out = reinterpret_cast<char*>(characters.data());
  std::size_t in_left = text.size();
  std::size_t out_left = characters.size() * sizeof(char32_t);
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter, &in, &in_left, &out, &out_left) == static_cast<std::size_t>(-1)) {
    return false;
  }
  characters.resize(characters.size() - out_left / sizeof(char32_t));
  return std::none_of(characters.begin(), characters.end(), is_refused);
}

void check_transport(const std::string& text) {
  const bool expected = !text.empty() && text.size() <= 65'535 && is_clean(text);
  require(kavu_test::succeeds<invalid_topic>([&] { mqtt::require_transportable_filter(text); }) ==
              expected,
          "a filter is sent if it is clean UTF-8");
  require(
      kavu_test::succeeds<invalid_topic>([&] { mqtt::require_transportable_topic(text); }) ==
          (expected && text.find('+') == std::string::npos && text.find('#') == std::string::npos),
      "a topic is sent if it holds no wildcard either");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view topic = kavu_test::as_text(data, size);
  const auto filter = kavu_test::take_line(topic);
  check_matching(filter, topic);
  check_transport(std::string(topic));
  return 0;
}
