// A buffer of a host, in the words of envelope_text.hpp.

#include <map>
#include <string>

#include "envelope.pb.h"
#include "fuzz/envelope_text.hpp"
#include "fuzz/fuzz_input.hpp"
#include "kavuhelper/settings/sensor_data_wrapper.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "libjsonparser/jsonpointer_parser.hpp"
#include "mqtt/settings/mqtt_connect_check.hpp"
#include "mqtt/settings/mqtt_notification.hpp"
#include "mqtt/settings/roundtrip_sensor.hpp"
#include "mqtt/settings/statistics_sensor.hpp"
#include "mqtt/settings/subscribe_custom_sensor.hpp"

namespace {

namespace lib = brunvik::monitoring_modules;
namespace failures = lib::libkavuhelper::utils::exceptions;
namespace settings = lib::mqtt::settings;
using kavu_test::require;
using lib::libkavuhelper::settings::sensor_data_wrapper;

constexpr std::string_view secret = "Tr0ub4dor";

// What no text may show is put where secrets are sent, and the last value of each key is noted.
std::map<std::string, std::string> spike(kavu::wire::Envelope& envelope) {
  std::map<std::string, std::string> values;
  kavu_test::with_settings(envelope, [&](auto& message) {
    for (const auto& entry : message.settings()) {
      values[entry.key()] = entry.value();
    }
    for (auto& entry : *message.mutable_secure_settings()) {
      // A number sent as a secret is quoted when it is wrong.
      if (entry.key().ends_with("password") || entry.key() == "brunvikcloudapikey") {
        entry.set_value(std::string(secret) + entry.value());
      }
      values[entry.key()] = entry.value();
    }
  });
  return values;
}

template <class Record>
void build_record(const sensor_data_wrapper& wrapper) {
  try {
    const Record record(wrapper);
  } catch (const failures::exception& failure) {
    require(std::string_view(failure.what()).find(secret) == std::string_view::npos,
            "a failure does not show a secret");
  }
}

void check(const sensor_data_wrapper& wrapper, const std::map<std::string, std::string>& values) {
  for (const auto& [key, value] : values) {
    require(wrapper.has_value(key) && wrapper.get_value(key) == value &&
                wrapper.get_secure_value(key).reveal() == value,
            "a setting has the value that was sent last");
  }
  for (const auto& channel : wrapper.get_channels()) {
    static_cast<void>(channel.options.scale_factor.value_or(1));
  }
  const auto json = wrapper.to_json();
  const lib::libjsonparser::jsonpointer_parser readable(json);
  require(json.find(secret) == std::string::npos, "the log does not show a secret");
  require(json.find("PRIVATE KEY") == std::string::npos, "the log does not show a private key");
  build_record<settings::mqtt_connect_check>(wrapper);
  build_record<settings::mqtt_notification>(wrapper);
  build_record<settings::roundtrip_sensor>(wrapper);
  build_record<settings::statistics_sensor>(wrapper);
  build_record<settings::subscribe_custom_sensor>(wrapper);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto bytes = kavu_test::envelope_from(kavu_test::as_text(data, size));
  if (bytes.find(secret) != std::string::npos) {
    return 0;
  }
  std::map<std::string, std::string> values;
  kavu::wire::Envelope envelope;
  const bool readable = envelope.ParseFromString(bytes);
  if (readable) {
    values = spike(envelope);
    bytes = envelope.SerializeAsString();
  }
  kavu_test::succeeds<failures::message_deserialization_failed>([&] {
    const sensor_data_wrapper wrapper(bytes.data(), static_cast<unsigned>(bytes.size()));
    require(readable, "what protobuf cannot read is refused");
    check(wrapper, values);
  });
  return 0;
}
