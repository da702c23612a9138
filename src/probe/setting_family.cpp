#include "probe/setting_family.hpp"

#include <algorithm>

namespace kavu_probe {
namespace {

constexpr std::string_view digits = "0123456789";

std::string first_number(std::string_view text) {
  const std::size_t begin = text.find_first_of(digits);
  if (begin == std::string_view::npos) {
    return "";
  }
  const std::size_t end = std::min(text.find_first_not_of(digits, begin), text.size());
  return std::string(text.substr(begin, end - begin));
}

bool same_options(const setting& one, const setting& other) {
  return std::equal(
      one.options.begin(), one.options.end(), other.options.begin(), other.options.end(),
      [](const setting_option& a, const setting_option& b) { return a.value == b.value; });
}

bool alike(const setting& one, const setting& other) {
  return one.type == other.type && one.default_value == other.default_value &&
         one.max_length == other.max_length && one.multiline == other.multiline &&
         one.secure == other.secure && one.minimum == other.minimum &&
         one.maximum == other.maximum && one.floating_minimum == other.floating_minimum &&
         one.floating_maximum == other.floating_maximum && one.flags == other.flags &&
         one.depends_on.empty() == other.depends_on.empty() && same_options(one, other);
}

}  // namespace

std::string replace_number(std::string_view text, std::string_view number) {
  for (std::size_t at = text.find(number); at != std::string_view::npos && !number.empty();
       at = text.find(number, at + 1)) {
    const std::size_t after = at + number.size();
    const bool whole = (at == 0 || digits.find(text[at - 1]) == std::string_view::npos) &&
                       (after == text.size() || digits.find(text[after]) == std::string_view::npos);
    if (whole) {
      return std::string(text.substr(0, at)) + "N" + std::string(text.substr(after));
    }
  }
  return std::string(text);
}

std::vector<setting_family> find_families(const setting_group& group) {
  std::vector<setting_family> families;
  for (const setting& item : group.settings) {
    const std::string number = first_number(item.name);
    const std::string name = replace_number(item.name, number);
    const auto family =
        std::find_if(families.begin(), families.end(), [&](const setting_family& other) {
          return !number.empty() && other.name == name && alike(*other.first, item);
        });
    if (family == families.end()) {
      families.push_back({name, &item, {}});
      if (!number.empty()) {
        families.back().numbers.push_back(number);
      }
    } else {
      family->numbers.push_back(number);
    }
  }
  for (setting_family& family : families) {
    if (family.numbers.size() < 2) {
      family.numbers.clear();
      family.name = family.first->name;
    }
  }
  return families;
}

}  // namespace kavu_probe
