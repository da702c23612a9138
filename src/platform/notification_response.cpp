#include "kavuhelper/notifications/response.hpp"
#include "platform/wire_codec.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::notifications {

response::response(std::int32_t id, const std::exception& failure)
    : id_(id), failure_(platform::message_of(failure)) {}

std::vector<std::uint8_t> response::serialize() const {
  auto envelope = platform::make_envelope();
  auto& wire = *envelope.mutable_notification_response();
  wire.set_id(id_);
  wire.set_success(!failure_);
  if (failure_) {
    platform::to_wire(*failure_, *wire.mutable_message());
  }
  return platform::serialize(envelope);
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::notifications
