#include <utility>

#include "kavuhelper/utils/exceptions.hpp"
#include "platform/sensor_data.hpp"
#include "platform/wire_codec.hpp"

namespace brunvik::monitoring_modules::platform {
namespace {

using libkavuhelper::settings::secure_string;
using content_type = sensor_data::wrapper::content_type;

template <class Message>
void wipe_secrets(Message& message) noexcept {
  for (auto& entry : *message.mutable_secure_settings()) {
    libkavuhelper::settings::wipe(*entry.mutable_value());
  }
}

/// An envelope whose secrets do not outlive it, also when it was read only in part.
class wiped_envelope {
 public:
  wiped_envelope() = default;
  wiped_envelope(const wiped_envelope&) = delete;
  wiped_envelope& operator=(const wiped_envelope&) = delete;
  ~wiped_envelope() {
    switch (envelope.content_case()) {
      case kavu::wire::Envelope::kSensorData:
        wipe_secrets(*envelope.mutable_sensor_data());
        break;
      case kavu::wire::Envelope::kCheckData:
        wipe_secrets(*envelope.mutable_check_data());
        break;
      case kavu::wire::Envelope::kNotificationRequest:
        wipe_secrets(*envelope.mutable_notification_request());
        break;
      default:
        break;
    }
  }

  kavu::wire::Envelope envelope;
};

template <class Message>
void read_settings(Message& wire, sensor_data& data) {
  for (auto& entry : *wire.mutable_settings()) {
    data.settings.insert_or_assign(std::move(*entry.mutable_key()),
                                   std::move(*entry.mutable_value()));
  }
  for (auto& entry : *wire.mutable_secure_settings()) {
    data.secure_settings.insert_or_assign(std::move(*entry.mutable_key()),
                                          secure_string(entry.value()));
  }
}

void read(kavu::wire::SensorData& wire, sensor_data& data) {
  data.type = content_type::sensor_data;
  data.kind = std::move(*wire.mutable_kind());
  read_settings(wire, data);
  for (const auto& definition : wire.channels()) {
    if (auto channel = from_wire(definition)) {
      data.channels.push_back(std::move(*channel));
    }
  }
  for (auto& entry : *wire.mutable_persistent_data()) {
    data.persistent_data.insert_or_assign(std::move(*entry.mutable_key()),
                                          std::move(*entry.mutable_value()));
  }
}

void read(kavu::wire::CheckData& wire, sensor_data& data) {
  data.type = content_type::check_data;
  data.kind = std::move(*wire.mutable_kind());
  read_settings(wire, data);
}

void read(kavu::wire::NotificationRequest& wire, sensor_data& data) {
  data.type = content_type::notification_request;
  data.kind = std::move(*wire.mutable_service());
  read_settings(wire, data);
  data.target = std::move(*wire.mutable_target());
  data.message = std::move(*wire.mutable_message());
  data.timeout_s = wire.timeout_s();
}

}  // namespace

sensor_data read_sensor_data(const void* data, std::size_t size) {
  wiped_envelope wire;
  sensor_data content;
  content.size = size;
  if (parse(wire.envelope, data, size)) {
    switch (wire.envelope.content_case()) {
      case kavu::wire::Envelope::kSensorData:
        read(*wire.envelope.mutable_sensor_data(), content);
        return content;
      case kavu::wire::Envelope::kCheckData:
        read(*wire.envelope.mutable_check_data(), content);
        return content;
      case kavu::wire::Envelope::kNotificationRequest:
        read(*wire.envelope.mutable_notification_request(), content);
        return content;
      default:
        break;
    }
  }
  throw libkavuhelper::utils::exceptions::message_deserialization_failed("Envelope", size);
}

}  // namespace brunvik::monitoring_modules::platform
