#pragma once

#include <charconv>
#include <cmath>
#include <iterator>
#include <string>

#include "envelope.pb.h"

namespace kavu_test {

inline std::string number_text(double number) {
  char text[40];
  const auto written = std::to_chars(text, std::end(text), number, std::chars_format::general, 17);
  return std::string(text, written.ptr) + (std::trunc(number) == number ? ".0" : "");
}

/// All that a result tells in one line: `ok 1=5 2=0.5`, `error "Channel 1: ..."`. Floating point
/// values always show a fraction, integers never.
inline std::string told(const kavu::wire::ScanResult& result) {
  static constexpr const char* codes[] = {"ok", "warning", "wrong answer", "error"};
  std::string text = codes[result.response_code()];
  if (result.has_message()) {
    text += " \"" + result.message().text() + "\"";
  }
  for (const auto& value : result.values()) {
    text += " " + std::to_string(value.id()) + "=" +
            (value.has_integer() ? std::to_string(value.integer()) : number_text(value.floating()));
  }
  return text;
}

/// The key of a message without its arguments; empty without a message.
inline std::string key_of(const kavu::wire::LocalisedText& message) {
  const std::string& key = message.key();
  return key.starts_with("#:") ? key.substr(2, key.find('[') - 2) : key;
}

}  // namespace kavu_test
