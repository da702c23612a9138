#include "mqtt/transportable.hpp"

#include <cstdint>
#include <optional>

#include "mqtt/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

constexpr std::size_t longest_text = 65'535;
constexpr std::size_t largest_payload = 0x1000'0000;
constexpr std::size_t largest_packet = 268'435'455;
// The topic's length field and the packet identifier.
constexpr std::size_t publish_overhead = 2 + 2;

/// Takes one code point off the front of `text`; nothing when it is not well-formed UTF-8.
std::optional<std::uint32_t> take_code_point(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  std::size_t length = 1;
  std::uint32_t code_point = lead;
  std::uint32_t smallest = 0;
  if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, code_point = lead & 0x07U, smallest = 0x1'0000;
  } else if (lead >= 0xE0 && lead < 0xF0) {
    length = 3, code_point = lead & 0x0FU, smallest = 0x800;
  } else if (lead >= 0xC2 && lead < 0xE0) {
    length = 2, code_point = lead & 0x1FU, smallest = 0x80;
  } else if (lead >= 0x80) {
    return std::nullopt;
  }
  if (text.size() < length) {
    return std::nullopt;
  }
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0U) != 0x80U) {
      return std::nullopt;
    }
    code_point = (code_point << 6U) | (next & 0x3FU);
  }
  text.remove_prefix(length);
  const bool surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
  if (code_point < smallest || code_point > 0x10'FFFF || surrogate) {
    return std::nullopt;
  }
  return code_point;
}

// Brokers may close the connection for control characters and non-characters, and some do.
bool may_close_connection(std::uint32_t code_point) {
  const bool control = code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0);
  const bool non_character =
      (code_point >= 0xFDD0 && code_point <= 0xFDEF) || (code_point & 0xFFFEU) == 0xFFFE;
  return control || non_character;
}

}  // namespace

bool is_transportable_text(std::string_view text) noexcept {
  if (text.empty() || text.size() > longest_text) {
    return false;
  }
  while (!text.empty()) {
    const auto code_point = take_code_point(text);
    if (!code_point || may_close_connection(*code_point)) {
      return false;
    }
  }
  return true;
}

void require_transportable_filter(const std::string& filter) {
  if (!is_transportable_text(filter)) {
    throw exceptions::invalid_topic(filter);
  }
}

void require_transportable_topic(const std::string& topic) {
  if (!is_transportable_text(topic) || topic.find_first_of("+#") != std::string::npos) {
    throw exceptions::invalid_topic(topic);
  }
}

void require_transportable_payload(const std::string& topic, const std::string& payload) {
  if (payload.size() > largest_payload ||
      payload.size() + topic.size() + publish_overhead > largest_packet) {
    throw exceptions::message_too_long();
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
