#pragma once

#include <optional>
#include <string>
#include <string_view>

// MQTT's own rules for topics (MQTT 3.1.1, sections 1.5.3 and 4.7), so that a mistake is told
// before anything is connected. A module may have further ones.
namespace kavu_probe {

/// Why nobody can subscribe to `filter`, as the end of a sentence that began with it; nothing when
/// it can be sent to a broker.
std::optional<std::string> find_filter_fault(std::string_view filter);

/// The same for a topic to publish to, which can hold no wildcard.
std::optional<std::string> find_topic_fault(std::string_view topic);

/// Why `text` cannot be a string that MQTT carries, as a user name is, in the same form.
std::optional<std::string> find_string_fault(std::string_view text);

/// Throws usage_error, which begins with `option`, when there is such a fault.
void check_string(std::string_view option, std::string_view text);

}  // namespace kavu_probe
