#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "from_host.pb.h"
#include "to_host.pb.h"

namespace kavu_probe {

/// What a host keeps of a sensor from one of its lives to the next.
struct sensor_memory {
  std::map<std::string, std::string> persistent_data;
  std::map<std::int32_t, kavu::wire::ChannelDefinition> channels;
  /// The last values of the counters, of which differences are shown.
  std::map<std::int32_t, std::int64_t> counters;

  void keep(const kavu::wire::PersistentData& message);
  void keep(const kavu::wire::ScanResult& message);

  /// Hands it back to the module with a request to create the sensor.
  void fill(kavu::wire::SensorData& request) const;
};

}  // namespace kavu_probe
