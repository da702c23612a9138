#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "envelope.pb.h"
#include "probe/definition.hpp"
#include "probe/module_library.hpp"

namespace kavu_bench {

/// What a statistics sensor has counted since its last scan.
struct statistics {
  std::int64_t messages = 0;
  std::int64_t payload_bytes = 0;
  std::int64_t topics = 0;
};

/// The module that was built with this program, as its host sees it: through the ten functions, on
/// the calling thread. One thread at a time.
class hosted_module {
 public:
  /// Loads and initialises it. Throws std::runtime_error when that fails.
  hosted_module();
  ~hosted_module();
  hosted_module(const hosted_module&) = delete;
  hosted_module& operator=(const hosted_module&) = delete;

  /// A statistics sensor of a broker on 127.0.0.1, all other settings at their defaults. Throws
  /// std::runtime_error when it cannot be created.
  void create_statistics_sensor(std::int32_t id, std::uint16_t port, const std::string& filter);

  /// Throws std::runtime_error when the scan fails.
  statistics scan_statistics(std::int32_t id);
  /// The same without a look at the result.
  void scan(std::int32_t id);
  /// The result of the last scan.
  kavu::wire::ScanResult last_result() const;

 private:
  static void receive(std::uint64_t context, const std::uint8_t* data, std::uint32_t size);
  std::string definition_document();

  kavu_probe::module_library library_;
  kavu_probe::definition definition_;
  mutable std::mutex mutex_;  // guards what follows
  kavu::wire::ScanResult last_result_;
};

}  // namespace kavu_bench
