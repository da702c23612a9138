#include "probe/markup.hpp"

#include <array>
#include <utility>

namespace kavu_probe {

std::string strip_markup(std::string_view text) {
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 5> tags = {
      {{"[b]", ""}, {"[/b]", ""}, {"[i]", ""}, {"[/i]", ""}, {"[br]", "\n"}}};
  std::string plain;
  while (!text.empty()) {
    bool found = false;
    for (const auto& [tag, replacement] : tags) {
      if (text.starts_with(tag)) {
        plain += replacement;
        text.remove_prefix(tag.size());
        found = true;
        break;
      }
    }
    if (!found) {
      plain += text.front();
      text.remove_prefix(1);
    }
  }
  return plain;
}

}  // namespace kavu_probe
