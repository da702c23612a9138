#include "mqtt/topic_filter.hpp"

#include <algorithm>
#include <array>

#include "mqtt/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

constexpr std::array<bool, 256> make_wildcard_characters() {
  std::array<bool, 256> allowed{};
  for (unsigned char c = '0'; c <= '9'; ++c) {
    allowed[c] = true;
  }
  for (unsigned char c = 'a'; c <= 'z'; ++c) {
    allowed[c] = true;
  }
  for (unsigned char c = 'A'; c <= 'Z'; ++c) {
    allowed[c] = true;
  }
  for (const char c : {' ', '_', '.', '-'}) {
    allowed[static_cast<unsigned char>(c)] = true;
  }
  return allowed;
}

constexpr std::array<bool, 256> wildcard_characters = make_wildcard_characters();

bool is_wildcard_character(char c) {
  return wildcard_characters[static_cast<unsigned char>(c)];
}

bool has_misplaced_multi_level(std::string_view filter) {
  const auto hash = filter.find('#');
  if (hash == std::string_view::npos) {
    return false;
  }
  const bool last = hash + 1 == filter.size();
  const bool alone_in_level = hash == 0 || filter[hash - 1] == '/';
  return !last || !alone_in_level;
}

bool has_misplaced_single_level(std::string_view filter) {
  for (auto plus = filter.find('+'); plus != std::string_view::npos;
       plus = filter.find('+', plus + 1)) {
    const bool begins_level = plus == 0 || filter[plus - 1] == '/';
    const bool ends_level = plus + 1 == filter.size() || filter[plus + 1] == '/';
    if (!begins_level || !ends_level) {
      return true;
    }
  }
  return false;
}

/// A filter as it is matched: brokers that know shared subscriptions take "$share/GROUP/" off.
std::string_view without_share(std::string_view filter) {
  constexpr std::string_view share = "$share/";
  const auto end = filter.starts_with(share) ? filter.find('/', share.size()) : filter.npos;
  return end == filter.npos ? filter : filter.substr(end + 1);
}

/// What the standard has a filter stand for.
bool covers_by_standard(std::string_view filter, std::string_view topic) {
  if (topic.starts_with('$') && (filter.starts_with('+') || filter.starts_with('#'))) {
    return false;  // section 4.7.2: topics of the broker's own
  }
  std::size_t at = 0;
  for (std::size_t i = 0; i < filter.size(); ++i) {
    if (filter[i] == '+') {
      at = std::min(topic.find('/', at), topic.size());
    } else if (filter[i] == '#') {
      return true;
    } else if (at < topic.size() && topic[at] == filter[i]) {
      ++at;
    } else {
      return at == topic.size() && filter.substr(i) == "/#";  // the parent level
    }
  }
  return at == topic.size();
}

}  // namespace

topic_filter::topic_filter(std::string filter) : filter_(std::move(filter)) {
  if (has_misplaced_multi_level(filter_) || has_misplaced_single_level(filter_)) {
    throw exceptions::invalid_topic(filter_);
  }
}

// A "+" is followed by "/" or by nothing, and "/" is none of its characters, so the longest run is
// the only one that can lead to a match: nothing is ever tried twice.
bool topic_filter::matches(std::string_view topic) const noexcept {
  std::size_t at = 0;
  for (const char expected : filter_) {
    if (expected == '+') {
      while (at < topic.size() && is_wildcard_character(topic[at])) {
        ++at;
      }
    } else if (expected == '#') {
      return std::all_of(topic.begin() + static_cast<std::ptrdiff_t>(at), topic.end(),
                         [](char c) { return c == '/' || is_wildcard_character(c); });
    } else if (at < topic.size() && topic[at] == expected) {
      ++at;
    } else {
      return false;
    }
  }
  return at == topic.size();
}

bool topic_filter::leaves_out(std::string_view topic) const noexcept {
  return covers_by_standard(without_share(filter_), topic) && !matches(topic);
}

std::string topic_filter::pattern() const {
  constexpr std::string_view metacharacters = "[]{}()*?.\\^$|";
  std::string pattern;
  for (const char c : filter_) {
    if (c == '+') {
      pattern += "[a-zA-Z0-9 _.-]*";
    } else if (c == '#') {
      pattern += "[a-zA-Z0-9 \\/_.-]*";
    } else {
      if (metacharacters.find(c) != std::string_view::npos) {
        pattern += '\\';
      }
      pattern += c;
    }
  }
  return pattern;
}

}  // namespace brunvik::monitoring_modules::mqtt
