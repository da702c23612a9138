#pragma once

#include <string_view>

namespace kavu_test {

/// Whether a topic name belongs to a topic filter (MQTT 3.1.1 section 4.7).
bool topic_matches(std::string_view filter, std::string_view topic);

/// Whether the wildcards of a filter stand where they may.
bool is_topic_filter(std::string_view text);

/// Whether a text has a shape: `*` stands for any text, `?` for one character.
bool matches_pattern(std::string_view pattern, std::string_view text);

}  // namespace kavu_test
