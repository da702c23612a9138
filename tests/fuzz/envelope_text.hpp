#pragma once

#include <string>
#include <string_view>

#include "envelope.pb.h"

namespace kavu_test {

/// The bytes that a host hands to the module, told line by line so that a seed can be read:
///
///     statistics_sensor       all of this kind's settings with their defaults, except
///     host=broker.example     this one, which has another value,
///     -timeout                and this one, which is left out;
///     *topic=x                this one is sent among the secrets, and this is kept data:
///     +counter=1
///
/// A text that begins with "raw:" stands for the bytes behind it; `protoc --encode` makes such.
std::string envelope_from(std::string_view text);

/// Calls `act` with the part of the envelope that has settings, if there is one.
template <class Act>
void with_settings(kavu::wire::Envelope& envelope, Act&& act) {
  if (envelope.has_sensor_data()) {
    act(*envelope.mutable_sensor_data());
  } else if (envelope.has_check_data()) {
    act(*envelope.mutable_check_data());
  } else if (envelope.has_notification_request()) {
    act(*envelope.mutable_notification_request());
  }
}

}  // namespace kavu_test
