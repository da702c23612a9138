#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "from_host.pb.h"
#include "probe/definition.hpp"
#include "probe/secret.hpp"

namespace kavu_probe {

/// Collects the settings that a host sends: every setting of the given sections, at first with
/// its default, and the bare ones that have no place in the document.
///
/// The definition must outlive it. Not for sharing between threads.
class settings_builder {
 public:
  /// `sensor_id` replaces "%sensorid" in the defaults. Throws probe_error when the document names
  /// a section or group that it does not have.
  settings_builder(const definition& source, const std::vector<std::string>& sections,
                   std::optional<std::int32_t> sensor_id);

  /// Whether there is a setting of that name.
  bool has(std::string_view name) const;

  /// Whether the name is that of a password or the like.
  bool is_secure(std::string_view name) const;

  /// Gives a setting a value. `name` is the setting's name, or group and setting, or section,
  /// group and setting, joined by full stops. Throws usage_error when no setting or more than one
  /// is meant, the value does not fit the setting, or it has been given one before. `option` is
  /// what the user typed, for the message; empty when nothing was.
  void set(std::string_view name, std::string_view value, std::string_view option = {});

  /// Adds a setting under its bare key.
  void add(std::string key, std::string value);
  void add_secret(std::string key, secret value);

  /// The value as it would be sent now; null when there is no such setting.
  const std::string* find_value(std::string_view name) const;

  /// Throws usage_error when a required setting that matters under the others' values is empty, or
  /// one that does not matter has been given a value.
  void check() const;

  /// Writes the settings into the two lists of a request. Passwords and the like go into the
  /// second.
  template <class Request>
  void fill(Request& request) const {
    for (const entry& item : entries_) {
      kavu::wire::KeyValue& target =
          item.secure ? *request.add_secure_settings() : *request.add_settings();
      target.set_key(item.key);
      target.set_value(item.value.text());
    }
  }

 private:
  struct entry {
    std::string key;
    const setting* declared;  // null for a bare one
    bool secure;
    secret value;
    bool given;          // not the default
    std::string option;  // that gave it
  };

  entry* find(std::string_view name);
  const entry* find_sibling(const entry& item, std::string_view name) const;
  /// The switch under whose value the setting does not matter; null when it does.
  const entry* find_off_switch(const entry& item) const;

  std::vector<entry> entries_;
};

/// Overwrites the settings of a request that has been sent: keys and passwords are among them.
template <class Request>
void wipe_settings(Request& request) {
  for (kavu::wire::KeyValue& item : *request.mutable_secure_settings()) {
    wipe(*item.mutable_value());
  }
  for (kavu::wire::KeyValue& item : *request.mutable_settings()) {
    wipe(*item.mutable_value());
  }
}

}  // namespace kavu_probe
