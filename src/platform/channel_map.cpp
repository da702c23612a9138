#include "kavuhelper/settings/channel_map.hpp"

#include "kavuhelper/utils/exceptions.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::settings {

channel_map::channel_map(const std::vector<channels::dynamic_channel>& known) {
  for (const auto& channel : known) {
    definitions_.try_emplace(channel.id, channel);
  }
}

bool channel_map::is_definition_registered(std::int32_t id) const noexcept {
  return definitions_.contains(id);
}

void channel_map::register_definition(std::int32_t id, const libi18n::i18n_msg& name,
                                      const channels::dynamic_channel_options& options) {
  if (!definitions_.try_emplace(id, channels::dynamic_channel{id, name, options}).second) {
    throw utils::exceptions::channel_already_defined(id, name.text());
  }
}

const channels::dynamic_channel& channel_map::get_definition(std::int32_t id) const {
  const auto found = definitions_.find(id);
  if (found == definitions_.end()) {
    throw utils::exceptions::channel_not_defined(id);
  }
  return found->second;
}

std::vector<channels::dynamic_channel> channel_map::get_definitions() const {
  std::vector<channels::dynamic_channel> definitions;
  definitions.reserve(definitions_.size());
  for (const auto& entry : definitions_) {
    definitions.push_back(entry.second);
  }
  return definitions;
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
