#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "kavuhelper/utils/exceptions.hpp"
#include "platform/recording_host.hpp"

namespace kavu_test {
namespace {

namespace failures = lib::utils::exceptions;

/// Creates sensor 4 from a class that fails as told; returns the only result that the host got.
kavu::wire::ScanResult create_failing(recording_host& host, const host_settings& settings,
                                      const scripted_sensor::step& build) {
  scripted_sensor::offer(
      host, "failing", [](scripted_sensor&) {}, build);
  EXPECT_ANY_THROW(host.dispatcher.create_sensor_instance(4, wrap(settings)));
  const auto results = host.inbox.scan_results(4);
  EXPECT_EQ(results.size(), 1U);
  return results.empty() ? kavu::wire::ScanResult() : results.front();
}

TEST(creation_failure, is_told_once_whoever_tells_it) {
  const failures::channel_not_defined failure(12);
  struct {
    const char* name;
    scripted_sensor::step build;
    const char* key;
    const char* text;
  } const cases[] = {
      {"the sensor reports",
       [&](scripted_sensor& sensor) {
         sensor.report_creation_failure(failure);
         throw failure;
       },
       "#:libkavuhelper.error.channel_not_defined[12]", "Channel with ID 12 is not defined."},
      {"the sensor throws", [&](scripted_sensor&) { throw failure; },
       "#:libkavuhelper.error.channel_not_defined[12]", "Channel with ID 12 is not defined."},
      {"a failure without a key", [](scripted_sensor&) { throw std::runtime_error("plain \xff"); },
       "plain \xff", "plain \xff"},
      {"something else", [](scripted_sensor&) { throw 5; }, "A failure without a text occurred.",
       "A failure without a text occurred."},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    recording_host host;
    const auto result = create_failing(host, sensor_named("failing"), each.build);
    EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_ERROR);
    EXPECT_EQ(result.error_code(), 0);
    EXPECT_EQ(result.message().key(), each.key);
    EXPECT_EQ(result.message().text(), each.text);
    EXPECT_EQ(host.dispatcher.execute_sensor_scan(4), 6);
    scripted_sensor::offer(host, "good", [](scripted_sensor&) {});
    EXPECT_EQ(host.dispatcher.create_sensor_instance(4, wrap(sensor_named("good"))), 0);
  }
}

TEST(creation_failure, includes_settings_that_cannot_be_read) {
  recording_host host;
  auto settings = sensor_named("failing");
  settings.remove("host").set("logging", "enabled");
  const auto result = create_failing(host, settings, {});
  EXPECT_EQ(result.message().key(), "#:libkavuhelper.error.setting_not_available[host]");
}

}  // namespace
}  // namespace kavu_test
