#include "libstringutils/expand_variables.hpp"

namespace brunvik::monitoring_modules::libstringutils {

namespace {

// The variable with the longest name that `text` starts with.
const std::pair<const std::string, std::string>* variable_at(
    std::string_view text, const std::map<std::string, std::string>& variables) {
  const std::pair<const std::string, std::string>* longest = nullptr;
  for (const auto& variable : variables) {
    const auto& name = variable.first;
    if (!name.empty() && text.starts_with(name) &&
        (longest == nullptr || name.size() > longest->first.size())) {
      longest = &variable;
    }
  }
  return longest;
}

}  // namespace

std::string expand_variables(std::string_view text,
                             const std::map<std::string, std::string>& variables) {
  std::string result;
  for (auto percent = text.find('%'); percent != std::string_view::npos; percent = text.find('%')) {
    result.append(text.substr(0, percent));
    text.remove_prefix(percent + 1);
    if (const auto* variable = variable_at(text, variables)) {
      result.append(variable->second);
      text.remove_prefix(variable->first.size());
    } else {
      result.push_back('%');
    }
  }
  result.append(text);
  return result;
}

}  // namespace brunvik::monitoring_modules::libstringutils
