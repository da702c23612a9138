#include "kavuhelper/responses/sensor_scan_result.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "kavuhelper/utils/exceptions.hpp"
#include "platform/wire_codec.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::responses {
namespace {

using namespace utils::exceptions;

bool is_floating(const channels::dynamic_channel& channel) {
  return channel.options.kind == channels::channel_kind::floating;
}

std::vector<channels::dynamic_channel> read_definitions(const kavu::wire::ScanResult& wire) {
  std::vector<channels::dynamic_channel> definitions;
  for (const auto& definition : wire.definitions()) {
    if (auto channel = platform::from_wire(definition)) {
      definitions.push_back(std::move(*channel));
    }
  }
  return definitions;
}

/// A scan result whose fields all mean something to us.
bool is_sound(const kavu::wire::Envelope& envelope) {
  const auto& values = envelope.scan_result().values();
  return envelope.has_scan_result() &&
         kavu::wire::ResponseCode_IsValid(envelope.scan_result().response_code()) &&
         std::all_of(values.begin(), values.end(), [](const auto& value) {
           return value.value_case() != kavu::wire::ChannelValue::VALUE_NOT_SET;
         });
}

}  // namespace

sensor_scan_result::sensor_scan_result(std::int32_t sensor_id,
                                       std::shared_ptr<const settings::channel_map> channels)
    : sensor_id_(sensor_id), channels_(std::move(channels)) {
  if (!channels_) {
    throw channel_map_not_initialized();
  }
}

sensor_scan_result::sensor_scan_result(std::int32_t sensor_id,
                                       const libi18n::i18n_exception& failure)
    : sensor_id_(sensor_id),
      response_code_(scan_response_codes::error),
      message_(failure.message()) {}

sensor_scan_result::sensor_scan_result(std::int32_t sensor_id, const std::exception& failure)
    : sensor_id_(sensor_id),
      response_code_(scan_response_codes::error),
      message_(platform::message_of(failure)) {}

const channels::dynamic_channel& sensor_scan_result::get_definition(std::int32_t channel) const {
  if (!channels_) {
    throw channel_map_not_initialized();
  }
  return channels_->get_definition(channel);
}

void sensor_scan_result::set_value(std::int32_t channel, long value) {
  if (is_floating(get_definition(channel))) {
    throw invalid_channel_mode("integer", "integer");
  }
  values_.insert_or_assign(channel, std::int64_t{value});
}

void sensor_scan_result::set_value(std::int32_t channel, double value) {
  if (!is_floating(get_definition(channel))) {
    throw invalid_channel_mode("floating-point", "floating-point");
  }
  if (!std::isfinite(value)) {
    throw message_exception("The value of channel " + std::to_string(channel) +
                            " is not a finite number.");
  }
  values_.insert_or_assign(channel, value);
}

void sensor_scan_result::remove_value(std::int32_t channel) noexcept {
  values_.erase(channel);
}

void sensor_scan_result::set_error_code(int code) noexcept {
  error_code_ = code;
}

void sensor_scan_result::set_response_code(scan_response_codes code) noexcept {
  response_code_ = code;
}

void sensor_scan_result::set_response_message(const libi18n::i18n_msg& message) {
  message_ = message;
}

void sensor_scan_result::set_failure(const std::exception& failure) {
  message_ = platform::message_of(failure);
  if (response_code_ == scan_response_codes::ok) {
    response_code_ = scan_response_codes::error;
  }
}

void sensor_scan_result::set_channel_map(std::shared_ptr<const settings::channel_map> channels) {
  channels_ = std::move(channels);
}

std::int32_t sensor_scan_result::get_sensor_id() const noexcept {
  return sensor_id_;
}

scan_response_codes sensor_scan_result::get_response_code() const noexcept {
  return response_code_;
}

const std::optional<libi18n::i18n_msg>& sensor_scan_result::get_response_message() const noexcept {
  return message_;
}

std::vector<std::uint8_t> sensor_scan_result::serialize() const {
  auto envelope = platform::make_envelope();
  auto& wire = *envelope.mutable_scan_result();
  wire.set_sensor_id(sensor_id_);
  wire.set_error_code(error_code_);
  wire.set_response_code(static_cast<kavu::wire::ResponseCode>(response_code_));
  if (message_) {
    platform::to_wire(*message_, *wire.mutable_message());
  }
  if (channels_) {
    for (const auto& channel : channels_->get_definitions()) {
      platform::to_wire(channel, *wire.add_definitions());
    }
  }
  for (const auto& [channel, value] : values_) {
    auto& entry = *wire.add_values();
    entry.set_id(channel);
    if (const auto* const integer = std::get_if<std::int64_t>(&value)) {
      entry.set_integer(*integer);
    } else {
      entry.set_floating(std::get<double>(value));
    }
  }
  return platform::serialize(envelope);
}

void sensor_scan_result::restore(std::string_view bytes) {
  sensor_scan_result restored(sensor_id_, channels_);
  kavu::wire::Envelope envelope;
  if (!platform::parse(envelope, bytes.data(), bytes.size()) || !is_sound(envelope)) {
    throw message_deserialization_failed("ScanResult", bytes.size());
  }
  const auto& wire = envelope.scan_result();
  if (read_definitions(wire) != channels_->get_definitions()) {
    throw message_exception("The channels of the stored result are not those of the sensor.");
  }
  restored.error_code_ = wire.error_code();
  restored.response_code_ = static_cast<scan_response_codes>(wire.response_code());
  if (wire.has_message()) {
    restored.message_ = platform::from_wire(wire.message());
  }
  try {
    for (const auto& entry : wire.values()) {
      if (entry.has_integer()) {
        restored.set_value(entry.id(), long{entry.integer()});
      } else {
        restored.set_value(entry.id(), entry.floating());
      }
    }
  } catch (const utils::exceptions::exception&) {
    throw message_deserialization_failed("ScanResult", bytes.size());
  }
  *this = std::move(restored);
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::responses
