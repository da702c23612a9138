#pragma once

#include <string>
#include <string_view>

/// What an MQTT packet can carry, checked before the library is asked: a broker answers a
/// malformed packet by closing the connection, which all sensors of one broker share.
namespace brunvik::monitoring_modules::mqtt {

/// Whether a text is 1 to 65,535 bytes of UTF-8 without NUL, control characters and non-characters.
bool is_transportable_text(std::string_view text) noexcept;

/// Throws `exceptions::invalid_topic` unless a subscription to `filter` can be sent: 1 to 65,535
/// bytes of UTF-8 without NUL, control characters and non-characters (MQTT 3.1.1, sections 1.5.3
/// and 4.7.3).
void require_transportable_filter(const std::string& filter);

/// The same for a topic to publish to, which must hold no wildcard either (section 3.3.2.1).
void require_transportable_topic(const std::string& topic);

/// Throws `exceptions::message_too_long` unless topic and payload fit into one packet, whose
/// length field ends at 268,435,455 (section 2.2.3).
void require_transportable_payload(const std::string& topic, const std::string& payload);

}  // namespace brunvik::monitoring_modules::mqtt
