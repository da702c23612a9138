#include "libi18n/i18n_msg.hpp"

#include "libstringutils/format.hpp"

namespace brunvik::monitoring_modules::libi18n {

namespace {

void append_escaped(std::string& key, std::string_view argument) {
  for (const char character : argument) {
    if (std::string_view("#,:[\\]").find(character) != std::string_view::npos) {
      key.push_back('\\');
    }
    key.push_back(character);
  }
}

}  // namespace

i18n_msg make_msg_from(const i18n_msg& constant, std::span<const std::string> arguments) {
  std::string key = "#:" + constant.key() + "[";
  bool first = true;
  for (const auto& argument : arguments) {
    if (!first) {
      key.push_back(',');
    }
    first = false;
    append_escaped(key, argument);
  }
  key.push_back(']');
  return {std::move(key), libstringutils::format(constant.text(), arguments)};
}

}  // namespace brunvik::monitoring_modules::libi18n
