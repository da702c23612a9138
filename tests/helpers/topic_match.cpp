#include "helpers/topic_match.hpp"

namespace kavu_test {

bool topic_matches(std::string_view filter, std::string_view topic) {
  if (topic.starts_with('$') && (filter.starts_with('+') || filter.starts_with('#'))) {
    return false;
  }
  while (filter != "#") {
    const auto filter_end = filter.find('/');
    const auto topic_end = topic.find('/');
    const auto level = filter.substr(0, filter_end);
    if (level != "+" && level != topic.substr(0, topic_end)) {
      return false;
    }
    if (filter_end == std::string_view::npos || topic_end == std::string_view::npos) {
      // "a/#" also means "a" itself.
      return filter_end == topic_end ||
             (topic_end == std::string_view::npos && filter.substr(filter_end) == "/#");
    }
    filter.remove_prefix(filter_end + 1);
    topic.remove_prefix(topic_end + 1);
  }
  return true;
}

bool is_topic_filter(std::string_view text) {
  for (;;) {
    const auto end = text.find('/');
    const auto level = text.substr(0, end);
    const bool last = end == std::string_view::npos;
    if (level.find_first_of("+#") != std::string_view::npos && level != "+" &&
        !(level == "#" && last)) {
      return false;
    }
    if (last) {
      return true;
    }
    text.remove_prefix(end + 1);
  }
}

bool matches_pattern(std::string_view pattern, std::string_view text) {
  std::size_t at = 0;
  std::size_t position = 0;
  std::size_t star = std::string_view::npos;
  std::size_t star_position = 0;
  while (position < text.size()) {
    if (at < pattern.size() && pattern[at] == '*') {
      star = at++;
      star_position = position;
    } else if (at < pattern.size() && (pattern[at] == '?' || pattern[at] == text[position])) {
      ++at;
      ++position;
    } else if (star != std::string_view::npos) {
      at = star + 1;
      position = ++star_position;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

}  // namespace kavu_test
