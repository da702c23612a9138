#include "platform/json_writer.hpp"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace brunvik::monitoring_modules::platform {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

std::uint8_t byte_at(std::string_view text, std::size_t position) {
  return position < text.size() ? static_cast<std::uint8_t>(text[position]) : 0;
}

bool is_continuation(std::uint8_t byte) {
  return (byte & 0xC0U) == 0x80U;
}

/// Bytes of the well-formed UTF-8 sequence that starts at `position` (RFC 3629, section 4); 0 when
/// there is none.
std::size_t sequence_length(std::string_view text, std::size_t position) {
  const std::uint8_t lead = byte_at(text, position);
  const std::uint8_t second = byte_at(text, position + 1);
  if (lead < 0x80U) {
    return 1;
  }
  if (lead >= 0xC2U && lead <= 0xDFU) {
    return is_continuation(second) ? 2 : 0;
  }
  if (lead >= 0xE0U && lead <= 0xEFU) {
    const bool overlong = lead == 0xE0U && second < 0xA0U;
    const bool surrogate = lead == 0xEDU && second >= 0xA0U;
    return is_continuation(second) && !overlong && !surrogate &&
                   is_continuation(byte_at(text, position + 2))
               ? 3
               : 0;
  }
  if (lead >= 0xF0U && lead <= 0xF4U) {
    const bool overlong = lead == 0xF0U && second < 0x90U;
    const bool beyond = lead == 0xF4U && second >= 0x90U;
    return is_continuation(second) && !overlong && !beyond &&
                   is_continuation(byte_at(text, position + 2)) &&
                   is_continuation(byte_at(text, position + 3))
               ? 4
               : 0;
  }
  return 0;
}

template <class Number>
void append_number(std::string& text, Number number) {
  char digits[32];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
  text.append(digits, end);
}

}  // namespace

void json_writer::key(std::string_view name) {
  separate();
  quote(name);
  text_ += ':';
  needs_comma_ = false;
}

void json_writer::value(std::string_view text) {
  separate();
  quote(text);
}

void json_writer::value(std::int64_t number) {
  separate();
  append_number(text_, number);
}

void json_writer::value(double number) {
  separate();
  if (std::isfinite(number)) {
    append_number(text_, number);
  } else {
    text_ += "null";
  }
}

void json_writer::open(char bracket) {
  separate();
  text_ += bracket;
  needs_comma_ = false;
}

void json_writer::close(char bracket) {
  text_ += bracket;
  needs_comma_ = true;
}

void json_writer::separate() {
  if (needs_comma_) {
    text_ += ',';
  }
  needs_comma_ = true;
}

void json_writer::quote(std::string_view text) {
  constexpr std::string_view hex = "0123456789abcdef";
  text_ += '"';
  for (std::size_t position = 0; position < text.size();) {
    const std::uint8_t byte = byte_at(text, position);
    const std::size_t length = sequence_length(text, position);
    if (length == 0) {
      text_ += replacement;
    } else if (byte == '"' || byte == '\\') {
      text_ += '\\';
      text_ += text[position];
    } else if (byte < 0x20U || byte == 0x7FU) {
      text_ += "\\u00";
      text_ += hex[byte >> 4U];
      text_ += hex[byte & 0x0FU];
    } else {
      text_ += text.substr(position, length);
    }
    position += length == 0 ? 1 : length;
  }
  text_ += '"';
}

}  // namespace brunvik::monitoring_modules::platform
