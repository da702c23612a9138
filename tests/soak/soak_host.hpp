#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "helpers/module_host.hpp"
#include "soak/tally.hpp"

namespace kavu_test::soak {

/// The module, with a host that keeps nothing but the answer to the call that runs: it can go on
/// for days. Calls for one id come one at a time. [any-thread]
class soak_host {
 public:
  explicit soak_host(tally& figures);

  bool create(std::int32_t id, const host_settings& settings);
  bool destroy(std::int32_t id);
  std::optional<kavu::wire::ScanResult> scan(std::int32_t id);
  bool check(std::int32_t id, const host_settings& settings);
  bool notify(std::int32_t id, const host_settings& settings);

  /// Destroys what is left. No other call meanwhile.
  void clean_up() { host_.cleanup(); }

 private:
  using key = std::pair<kavu::wire::Envelope::ContentCase, std::int32_t>;

  static void receive(std::uint64_t context, const std::uint8_t* data, std::uint32_t size);
  void keep(kavu::wire::Envelope&& envelope);
  void follow_connection(const kavu::wire::LogRecord& line);
  std::optional<kavu::wire::Envelope> take(const key& wanted);

  tally& tally_;
  std::mutex mutex_;  // guards both maps
  std::map<key, kavu::wire::Envelope> answers_ = {};
  std::map<std::int32_t, bool> lost_ = {};
  module_host host_{/*initialized=*/false};
};

}  // namespace kavu_test::soak
