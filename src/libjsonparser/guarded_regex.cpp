#include "libjsonparser/guarded_regex.hpp"

#include <algorithm>
#include <charconv>
#include <vector>

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

constexpr std::size_t enough = 1'000'000'000;  // so that products of two do not overflow

// Behind "{": the larger number of "{3}" or "{3,5}"; moves `at` behind it.
std::size_t take_count(std::string_view pattern, std::size_t& at) {
  std::size_t largest = 1;
  while (at < pattern.size() && pattern[at] != '}') {
    std::size_t number = 0;
    const auto* const end = pattern.data() + pattern.size();
    const auto result = std::from_chars(pattern.data() + at, end, number);
    if (result.ec == std::errc::result_out_of_range) {
      number = enough;
    }
    largest = std::max(largest, number);
    at = std::max(at + 1, static_cast<std::size_t>(result.ptr - pattern.data()));
  }
  return std::min(largest, enough);
}

// How long an escape is: 2 but for those like "\c[". Where a reference is to a group that has
// matched nothing, the library reads no character of the text, so nothing would watch over it.
std::size_t escape_size(std::string_view pattern, std::size_t at) {
  const char escaped = at + 1 < pattern.size() ? pattern[at + 1] : '\0';
  if (escaped >= '1' && escaped <= '9') {
    throw evaluation_refused("References to groups, as in \"(a)\\1\", cannot be evaluated safely.");
  }
  return escaped == 'c' ? 3 : 2;
}

// Behind "[": moves `at` behind the end of the set.
void skip_set(std::string_view pattern, std::size_t& at) {
  while (at < pattern.size() && pattern[at] != ']') {
    at += pattern[at] == '\\' ? escape_size(pattern, at) : 1;
  }
}

}  // namespace

std::size_t written_out(std::string_view pattern) {
  std::vector<std::size_t> groups = {0};  // what each open group has so far
  std::size_t last = 0;                   // what a count would repeat
  const auto add = [&](std::size_t parts) {
    last = parts;
    groups.back() = std::min(groups.back() + parts, enough);
  };
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    switch (pattern[at]) {
      case '(':
        groups.push_back(2);
        break;
      case ')':
        if (groups.size() > 1) {
          const auto inner = groups.back();
          groups.pop_back();
          add(inner);
        }
        break;
      case '{':
        add(last * (take_count(pattern, ++at) - 1));
        last = groups.back();  // a count of a count is rare, and may be taken for more
        break;
      case '[':
        skip_set(pattern, ++at);
        add(1);
        break;
      case '\\':
        at += escape_size(pattern, at) - 1;
        add(1);
        break;
      default:
        add(1);
    }
  }
  std::size_t all = 0;
  for (const auto group : groups) {
    all = std::min(all + group, enough);
  }
  return all;
}

}  // namespace brunvik::monitoring_modules::libjsonparser
