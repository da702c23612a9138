// First line: a filter; the rest: a topic.

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

void check_matching(std::string_view filter, std::string_view topic) {
  bool matches = false;
  const bool valid = kavu_test::succeeds<invalid_topic>(
      [&] { matches = mqtt::topic_filter(std::string(filter)).matches(topic); });
  require(valid == wildcards_stand_for_levels(filter), "a filter's wildcards stand for levels");
  if (!valid) {
    return;
  }
  if (filter.size() * topic.size() < 100'000) {
    require(matches == covers(filter, topic), "a filter matches what it covers");
  }
}

// The well-formed sequences one by one (RFC 3629, section 4), without what brokers close for.
std::size_t transportable_length(std::string_view text) {
  const auto in = [&](std::size_t at, int low, int high) {
    const int byte = at < text.size() ? static_cast<unsigned char>(text[at]) : -1;
    return byte >= low && byte <= high;
  };
  const auto tail = [&](std::size_t at) { return in(at, 0x80, 0xBF); };
  if (in(0, 0x20, 0x7E)) {
    return 1;
  }
  if (in(0, 0xC2, 0xDF) && tail(1)) {
    return in(0, 0xC2, 0xC2) && in(1, 0x80, 0x9F) ? 0 : 2;
  }
  const bool last_two = in(2, 0xBE, 0xBF);
  if ((in(0, 0xE0, 0xE0) && in(1, 0xA0, 0xBF) && tail(2)) ||
      (in(0, 0xE1, 0xEC) && tail(1) && tail(2)) ||
      (in(0, 0xED, 0xED) && in(1, 0x80, 0x9F) && tail(2)) ||
      (in(0, 0xEE, 0xEF) && tail(1) && tail(2))) {
    const bool arabic_block = in(0, 0xEF, 0xEF) && in(1, 0xB7, 0xB7) && in(2, 0x90, 0xAF);
    return arabic_block || (in(0, 0xEF, 0xEF) && in(1, 0xBF, 0xBF) && last_two) ? 0 : 3;
  }
  if ((in(0, 0xF0, 0xF0) && in(1, 0x90, 0xBF) && tail(2) && tail(3)) ||
      (in(0, 0xF1, 0xF3) && tail(1) && tail(2) && tail(3)) ||
      (in(0, 0xF4, 0xF4) && in(1, 0x80, 0x8F) && tail(2) && tail(3))) {
    const bool end_of_plane = (static_cast<unsigned char>(text[1]) & 0x0FU) == 0x0F;
    return end_of_plane && in(2, 0xBF, 0xBF) && in(3, 0xBE, 0xBF) ? 0 : 4;
  }
  return 0;
}

void check_transport(const std::string& text) {
  std::string_view rest = text;
  while (const auto length = transportable_length(rest)) {
    rest.remove_prefix(length);
  }
  const bool expected = !text.empty() && text.size() <= 65'535 && rest.empty();
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
