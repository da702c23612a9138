#pragma once

#include <string>
#include <string_view>

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

}  // namespace kavu_test
