#include "platform/log_record.hpp"

#include "platform/wire_codec.hpp"

namespace brunvik::monitoring_modules::platform {

std::vector<std::uint8_t> log_record::serialize() const {
  auto envelope = make_envelope();
  auto& wire = *envelope.mutable_log_record();
  wire.set_severity(severity_);
  wire.set_text(text_);
  if (sensor_id_) {
    wire.set_sensor_id(*sensor_id_);
  }
  wire.set_time_ns(
      std::chrono::duration_cast<std::chrono::nanoseconds>(time_.time_since_epoch()).count());
  return platform::serialize(envelope);
}

}  // namespace brunvik::monitoring_modules::platform
