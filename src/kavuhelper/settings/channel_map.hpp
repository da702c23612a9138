#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "kavuhelper/channels/dynamic_channel.hpp"
#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::settings {

/// The channels of one sensor: those that the host knows from its earlier life, and those that it
/// has registered since. A definition never changes once it is here.
///
/// Not synchronised: a sensor registers channels while it is built and in its scans, which never
/// overlap.
class channel_map {
 public:
  channel_map() = default;
  /// Starts with what the host knows. Of two definitions with one id the first counts.
  explicit channel_map(const std::vector<channels::dynamic_channel>& known);

  [[nodiscard]] bool is_definition_registered(std::int32_t id) const noexcept;

  /// Throws `channel_already_defined` and changes nothing when the id has a definition.
  void register_definition(std::int32_t id, const libi18n::i18n_msg& name,
                           const channels::dynamic_channel_options& options);

  /// Throws `channel_not_defined`. The reference lives as long as the map.
  [[nodiscard]] const channels::dynamic_channel& get_definition(std::int32_t id) const;

  /// All definitions, in ascending order of their ids.
  [[nodiscard]] std::vector<channels::dynamic_channel> get_definitions() const;

 private:
  std::map<std::int32_t, channels::dynamic_channel> definitions_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
