#pragma once

#include <cstdint>
#include <memory>

namespace kavu_bench {

/// Somebody who gets the flood's messages, and whose processor time is measured.
class subscriber {
 public:
  virtual ~subscriber() = default;

  /// Whether the last of so many messages has arrived. Asking takes next to nothing.
  virtual bool has_received(std::int64_t messages) = 0;

  /// How many have arrived, each counted.
  virtual std::int64_t received() = 0;
};

/// What every program on the MQTT library pays: a callback that frees the message.
std::unique_ptr<subscriber> make_empty_subscriber(std::uint16_t port);

/// The same with the library's own trace switched off, as the module has it: what is left of the
/// difference to the module is the module's own.
std::unique_ptr<subscriber> make_untraced_empty_subscriber(std::uint16_t port);

/// The module with one statistics sensor for all topics.
std::unique_ptr<subscriber> make_module_subscriber(std::uint16_t port);

/// The module with a statistics sensor for each topic, all of them on one client.
std::unique_ptr<subscriber> make_crowded_module_subscriber(std::uint16_t port);

}  // namespace kavu_bench
