#include "probe/sensor_memory.hpp"

namespace kavu_probe {

void sensor_memory::keep(const kavu::wire::PersistentData& message) {
  for (const kavu::wire::KeyValue& entry : message.entries()) {
    persistent_data[entry.key()] = entry.value();
  }
}

void sensor_memory::keep(const kavu::wire::ScanResult& message) {
  for (const kavu::wire::ChannelDefinition& channel : message.definitions()) {
    channels[channel.id()] = channel;
  }
}

void sensor_memory::fill(kavu::wire::SensorData& request) const {
  for (const auto& [id, channel] : channels) {
    *request.add_channels() = channel;
  }
  for (const auto& [key, value] : persistent_data) {
    kavu::wire::KeyValue& entry = *request.add_persistent_data();
    entry.set_key(key);
    entry.set_value(value);
  }
}

}  // namespace kavu_probe
