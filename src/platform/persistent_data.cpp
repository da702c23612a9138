#include "kavuhelper/messaging/persistent_data.hpp"

#include <utility>

#include "platform/wire_codec.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::messaging {

persistent_data::persistent_data(std::int32_t sensor_id,
                                 settings::persistent_data_storage::entries entries)
    : sensor_id_(sensor_id), entries_(std::move(entries)) {}

std::vector<std::uint8_t> persistent_data::serialize() const {
  auto envelope = platform::make_envelope();
  auto& wire = *envelope.mutable_persistent_data();
  wire.set_sensor_id(sensor_id_);
  for (const auto& [key, value] : entries_) {
    auto& entry = *wire.add_entries();
    entry.set_key(key);
    entry.set_value(value);
  }
  return platform::serialize(envelope);
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::messaging
