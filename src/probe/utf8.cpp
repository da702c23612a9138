#include "probe/utf8.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace kavu_probe {
namespace {

struct range {
  char32_t first;
  char32_t last;
};

// Characters that take two columns: the scripts of East Asia and the pictographs.
constexpr std::array wide_ranges = {
    range{0x1100, 0x115F},   range{0x2E80, 0x303E},   range{0x3041, 0x33FF},
    range{0x3400, 0x4DBF},   range{0x4E00, 0x9FFF},   range{0xA000, 0xA4CF},
    range{0xAC00, 0xD7A3},   range{0xF900, 0xFAFF},   range{0xFE30, 0xFE6F},
    range{0xFF00, 0xFF60},   range{0xFFE0, 0xFFE6},   range{0x1F300, 0x1F64F},
    range{0x1F900, 0x1F9FF}, range{0x20000, 0x3FFFD},
};

// Combining marks and characters without a width of their own.
constexpr std::array empty_ranges = {
    range{0x0300, 0x036F}, range{0x0483, 0x0489}, range{0x1AB0, 0x1AFF}, range{0x1DC0, 0x1DFF},
    range{0x200B, 0x200D}, range{0x20D0, 0x20FF}, range{0xFE00, 0xFE0F}, range{0xFE20, 0xFE2F},
};

template <class Ranges>
bool contains(const Ranges& ranges, char32_t character) {
  return std::any_of(ranges.begin(), ranges.end(), [character](const range& r) {
    return character >= r.first && character <= r.last;
  });
}

bool steers_terminal(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) ||
         (character >= 0x202A && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069) || character == 0x2028 || character == 0x2029;
}

struct lead_byte {
  std::size_t length;  // 0: not the start of a sequence
  unsigned bits;
  unsigned char second_low = 0x80;
  unsigned char second_high = 0xBF;
};

// The table of well-formed sequences of RFC 3629: the range of the second byte rules out
// overlong forms, surrogates and what is beyond the last character.
lead_byte classify(unsigned char byte) {
  if (byte >= 0xC2 && byte <= 0xDF) {
    return {2, byte & 0x1Fu};
  }
  if (byte >= 0xE0 && byte <= 0xEF) {
    const unsigned char low = byte == 0xE0 ? 0xA0 : 0x80;
    const unsigned char high = byte == 0xED ? 0x9F : 0xBF;
    return {3, byte & 0x0Fu, low, high};
  }
  if (byte >= 0xF0 && byte <= 0xF4) {
    const unsigned char low = byte == 0xF0 ? 0x90 : 0x80;
    const unsigned char high = byte == 0xF4 ? 0x8F : 0xBF;
    return {4, byte & 0x07u, low, high};
  }
  return {0, 0};
}

}  // namespace

char32_t take_character(std::string_view& rest) noexcept {
  const auto first = static_cast<unsigned char>(rest.front());
  if (first < 0x80) {
    rest.remove_prefix(1);
    return first;
  }
  const lead_byte lead = classify(first);
  char32_t character = lead.bits;
  std::size_t used = 1;
  for (; used < lead.length && used < rest.size(); ++used) {
    const auto byte = static_cast<unsigned char>(rest[used]);
    const unsigned char low = used == 1 ? lead.second_low : 0x80;
    const unsigned char high = used == 1 ? lead.second_high : 0xBF;
    if (byte < low || byte > high) {
      break;
    }
    character = (character << 6) | (byte & 0x3Fu);
  }
  rest.remove_prefix(used);
  return lead.length != 0 && used == lead.length ? character : replacement_character;
}

void append_character(std::string& text, char32_t character) {
  const auto put = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0 | (character >> 6));
    put(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    put(0xE0 | (character >> 12));
    put(0x80 | ((character >> 6) & 0x3F));
    put(0x80 | (character & 0x3F));
  } else {
    put(0xF0 | (character >> 18));
    put(0x80 | ((character >> 12) & 0x3F));
    put(0x80 | ((character >> 6) & 0x3F));
    put(0x80 | (character & 0x3F));
  }
}

std::string valid_utf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    append_character(text, take_character(bytes));
  }
  return text;
}

std::string printable(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const char32_t character = take_character(bytes);
    if (character == U'\n') {
      text += "\\n";
    } else if (character == U'\t') {
      text += "\\t";
    } else if (!steers_terminal(character)) {
      append_character(text, character);
    } else if (character < 0x100) {
      fmt::format_to(std::back_inserter(text), "\\x{:02x}", static_cast<unsigned>(character));
    } else {
      fmt::format_to(std::back_inserter(text), "\\u{:04x}", static_cast<unsigned>(character));
    }
  }
  return text;
}

std::string quotable(std::string_view bytes, std::size_t longest) {
  std::string_view rest = bytes;
  for (std::size_t count = 0; count < longest && !rest.empty(); ++count) {
    take_character(rest);
  }
  return printable(bytes.substr(0, bytes.size() - rest.size())) + (rest.empty() ? "" : "…");
}

std::size_t display_width(std::string_view text) noexcept {
  std::size_t width = 0;
  while (!text.empty()) {
    const char32_t character = take_character(text);
    if (contains(wide_ranges, character)) {
      width += 2;
    } else if (!contains(empty_ranges, character)) {
      width += 1;
    }
  }
  return width;
}

std::size_t character_count(std::string_view text) noexcept {
  std::size_t count = 0;
  for (; !text.empty(); ++count) {
    take_character(text);
  }
  return count;
}

}  // namespace kavu_probe
