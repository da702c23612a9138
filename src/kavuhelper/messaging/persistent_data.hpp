#pragma once

#include <cstdint>

#include "kavuhelper/messaging/kavu_message.hpp"
#include "kavuhelper/settings/persistent_data_storage.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::messaging {

/// Values that the host keeps with a sensor. Each replaces the one of the same key; others stay.
class persistent_data : public kavu_message {
 public:
  persistent_data(std::int32_t sensor_id, settings::persistent_data_storage::entries entries);

  [[nodiscard]] std::vector<std::uint8_t> serialize() const override;

 private:
  std::int32_t sensor_id_;
  settings::persistent_data_storage::entries entries_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::messaging
