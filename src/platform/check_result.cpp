#include "kavuhelper/responses/check_result.hpp"

#include "platform/wire_codec.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::responses {

check_result::check_result(std::int32_t check_id, const std::exception& failure)
    : check_id_(check_id), message_(platform::message_of(failure)) {}

std::vector<std::uint8_t> check_result::serialize() const {
  auto envelope = platform::make_envelope();
  auto& wire = *envelope.mutable_check_result();
  wire.set_check_id(check_id_);
  wire.set_success(success_);
  if (message_) {
    platform::to_wire(*message_, *wire.mutable_message());
  }
  return platform::serialize(envelope);
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::responses
