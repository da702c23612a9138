#include "kavuhelper/sensors/sensor_base.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "kavuhelper/utils/exceptions.hpp"
#include "platform/recording_host.hpp"

namespace kavu_test {
namespace {

namespace failures = lib::utils::exceptions;

/// Creates sensor 1 with or without its log, scans it once, and destroys it.
int run_once(recording_host& host, bool logging, const scripted_sensor::step& scan) {
  scripted_sensor::offer(host, "sensor", scan);
  auto settings = sensor_named("sensor");
  settings.set("logging", logging ? "enabled" : "disabled");
  EXPECT_EQ(host.dispatcher.create_sensor_instance(1, wrap(settings)), 0);
  const int code = host.dispatcher.execute_sensor_scan(1);
  EXPECT_EQ(host.dispatcher.destroy_sensor_instance(1), 0);
  return code;
}

TEST(sensor_base, a_good_scan_logs_its_steps_and_sends_its_own_result) {
  recording_host host;
  EXPECT_EQ(run_once(host, true,
                     [](scripted_sensor& sensor) {
                       sensor.channels().register_definition(0, {"k", "t"}, {});
                       auto result = sensor.make_result();
                       result.set_value(0, 42L);
                       sensor.log("working");
                       sensor.send(result);
                     }),
            0);
  std::string lines;
  for (const auto& record : host.inbox.log_records()) {
    EXPECT_EQ(record.sensor_id(), 1);
    EXPECT_EQ(record.severity(), 7);
    lines += record.text();
  }
  EXPECT_THAT(lines, testing::MatchesRegex(".* Initializing .* version is: [0-9.]+#.* Enter sensor "
                                           "scan .*#working#.* Exit .* Cleaning Up .*"));
  const auto results = host.inbox.scan_results(1);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].response_code(), kavu::wire::RESPONSE_CODE_OK);
  EXPECT_EQ(results[0].values(0).integer(), 42);
}

TEST(sensor_base, a_standard_failure_of_a_scan_becomes_one_error_result) {
  recording_host host;
  EXPECT_EQ(run_once(host, true,
                     [](scripted_sensor& sensor) {
                       sensor.channels().register_definition(3, {"k", "t"}, {});
                       throw failures::setting_not_available("a,b");
                     }),
            0);
  const auto results = host.inbox.scan_results(1);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].response_code(), kavu::wire::RESPONSE_CODE_ERROR);
  EXPECT_EQ(results[0].message().key(), "#:libkavuhelper.error.setting_not_available[a\\,b]");
  EXPECT_EQ(results[0].message().text(), "The setting \"a,b\" was not available.");
  EXPECT_EQ(results[0].definitions_size(), 1);
  EXPECT_TRUE(host.inbox.logged("The setting \"a,b\" was not available."));
  EXPECT_TRUE(host.inbox.logged("Exit sensor scan"));
}

TEST(sensor_base, anything_else_goes_on_to_the_caller) {
  recording_host host;
  EXPECT_THROW(run_once(host, true, [](scripted_sensor&) { throw 5; }), int);
  EXPECT_TRUE(host.inbox.scan_results(1).empty());
  EXPECT_EQ(host.dispatcher.destroy_sensor_instance(1), 0);
}

TEST(sensor_base, without_its_log_no_text_is_built) {
  recording_host host;
  EXPECT_EQ(run_once(host, false,
                     [](scripted_sensor& sensor) {
                       sensor.log("into nothing");
                       sensor.log_lazily([]() -> std::string {
                         ADD_FAILURE() << "built";
                         return {};
                       });
                       throw std::runtime_error("plain");
                     }),
            0);
  EXPECT_TRUE(host.inbox.log_records().empty());
  const auto results = host.inbox.scan_results(1);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].message().key(), "plain");
}

TEST(sensor_base, a_log_that_fails_does_not_keep_a_sensor_from_going) {
  struct failing_log : brunvik::monitoring_modules::liblog::log_interface {
    void log(int, const std::string& message) override {
      if (message.find("Cleaning Up") != std::string::npos) {
        throw std::runtime_error("no more lines");
      }
    }
  };
  recording_host host;
  lib::sensors::creation_context context;
  context.container = std::make_shared<lib::module::service_container>();
  context.container->add_factory<brunvik::monitoring_modules::liblog::log_interface, std::int32_t>(
      [](std::int32_t) { return std::make_unique<failing_log>(); });
  context.mode = lib::sensors::creation_context::mode_logging;
  { scripted_sensor sensor(context, wrap(sensor_named("x")), {}, {}); }
}

}  // namespace
}  // namespace kavu_test
