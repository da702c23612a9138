#pragma once

#include <memory>
#include <string>
#include <vector>

#include "mqtt/address_family.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// A name that the system's resolver is looking up in all sources that it has (nsswitch.conf).
///
/// The resolver cannot be interrupted. What has not ended with the last object for a name goes on
/// inside the C library, and keeps a few hundred bytes; whoever asks for that name and family
/// meanwhile waits for its end instead of asking once more. The C library runs 20 look-ups at a
/// time, so what stands behind hung ones does not end either. [any-thread]
class system_lookup {
 public:
  class question;

  /// Starts. Never throws for what the resolver thinks.
  system_lookup(const std::string& name, address_family family);
  ~system_lookup();
  system_lookup(const system_lookup&) = delete;
  system_lookup& operator=(const system_lookup&) = delete;

  /// Does not wait.
  [[nodiscard]] bool has_ended() const;
  // For what has ended.
  [[nodiscard]] std::vector<std::string> addresses() const;
  /// Why there is no address, in the C library's words.
  [[nodiscard]] std::string failure() const;

 private:
  std::shared_ptr<question> asked_;
};

/// Whether the system looks for names anywhere but in the file of hosts and at name servers.
bool has_other_sources_of_names();

}  // namespace brunvik::monitoring_modules::mqtt
