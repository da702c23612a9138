#include <gtest/gtest.h>

#include "kavuhelper/utils/exceptions.hpp"
#include "platform/recording_host.hpp"

namespace kavu_test {
namespace {

namespace failures = lib::utils::exceptions;
using brunvik::monitoring_modules::liblog::log_interface;

TEST(log, lines_reach_the_host_with_severity_owner_and_time) {
  recording_host host;
  const auto before = std::chrono::system_clock::now().time_since_epoch();
  host.container->get_or_create<log_interface>()->log(3, "any \xff bytes");
  host.container->create<log_interface>(std::int32_t{-5})->log(7, "of a sensor");
  const auto lines = host.inbox.log_records();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].severity(), 3);
  EXPECT_EQ(lines[0].text(), "any \xff bytes");
  EXPECT_FALSE(lines[0].has_sensor_id());
  EXPECT_EQ(lines[1].sensor_id(), -5);
  EXPECT_GE(lines[0].time_ns(), std::chrono::nanoseconds(before).count());
  EXPECT_GE(lines[1].time_ns(), lines[0].time_ns());
}

TEST(log, registration_needs_a_container_with_a_message_service_and_comes_once) {
  recording_host host;
  EXPECT_THROW(lib::module::register_runtime_log(host.container),
               failures::already_contains_factory);
  EXPECT_THROW(lib::module::register_sensor_log(host.container),
               failures::already_contains_factory);
  EXPECT_THROW(lib::module::register_runtime_log(nullptr), failures::initialization_error);
  EXPECT_THROW(lib::module::register_sensor_log(std::make_shared<lib::module::service_container>()),
               failures::factory_not_available);
}

// A line may come from a thread of a library that knows no exceptions.
TEST(log, a_message_service_that_fails_does_not_fail_the_writer) {
  struct failing_service : lib::messaging::message_service_interface {
    void send(const lib::messaging::kavu_message&) override { throw std::runtime_error("no"); }
  };
  const auto container = std::make_shared<lib::module::service_container>();
  container->add_instance<lib::messaging::message_service_interface>(
      std::make_shared<failing_service>());
  lib::module::register_runtime_log(container);
  EXPECT_NO_THROW(container->get_or_create<log_interface>()->log(0, "line"));
}

}  // namespace
}  // namespace kavu_test
