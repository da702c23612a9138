#include "probe/text_layout.hpp"

#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

/// Takes as many characters off `rest` as fit into `width`, at least one.
std::string_view take_columns(std::string_view& rest, std::size_t width) {
  const std::string_view whole = rest;
  std::size_t used = 0;
  while (!rest.empty()) {
    std::string_view next = rest;
    take_character(next);
    const std::size_t columns = display_width(rest.substr(0, rest.size() - next.size()));
    if (used + columns > width && used > 0) {
      break;
    }
    used += columns;
    rest = next;
  }
  return whole.substr(0, whole.size() - rest.size());
}

class line_filler {
 public:
  line_filler(std::vector<std::string>& lines, std::size_t width) : lines_(lines), width_(width) {}

  void add_word(std::string_view word) {
    const std::size_t columns = display_width(word);
    if (!line_.empty() && used_ + 1 + columns <= width_) {
      line_ += ' ';
      line_ += word;
      used_ += 1 + columns;
      return;
    }
    if (!line_.empty()) {
      end_line();
    }
    while (display_width(word) > width_) {
      lines_.emplace_back(take_columns(word, width_));
    }
    line_ = word;
    used_ = display_width(word);
  }

  void end_line() {
    lines_.push_back(std::move(line_));
    line_.clear();
    used_ = 0;
  }

 private:
  std::vector<std::string>& lines_;
  std::size_t width_;
  std::string line_;
  std::size_t used_ = 0;
};

}  // namespace

std::string pad_right(std::string_view text, std::size_t width) {
  const std::size_t used = display_width(text);
  return std::string(text) + std::string(used < width ? width - used : 0, ' ');
}

std::string pad_left(std::string_view text, std::size_t width) {
  const std::size_t used = display_width(text);
  return std::string(used < width ? width - used : 0, ' ') + std::string(text);
}

std::string shorten(std::string_view text, std::size_t width) {
  if (display_width(text) <= width || width == 0) {
    return std::string(text);
  }
  std::string_view rest = text;
  std::string cut(width == 1 ? std::string_view() : take_columns(rest, width - 1));
  return cut + "…";
}

std::vector<std::string> wrap(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  line_filler filler(lines, width);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(" \n"), text.size());
    if (end > 0) {
      filler.add_word(text.substr(0, end));
    }
    if (end < text.size() && text[end] == '\n') {
      filler.end_line();
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  filler.end_line();
  return lines;
}

}  // namespace kavu_probe
