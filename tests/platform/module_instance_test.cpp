#include "kavuhelper/module/module_instance.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "kavuhelper/utils/exceptions.hpp"
#include "platform/recording_host.hpp"

namespace kavu_test {
namespace {

namespace failures = lib::utils::exceptions;
using brunvik::monitoring_modules::liblog::log_interface;
using lib::messaging::message_service_interface;

class small_module : public lib::module::module_instance {
 public:
  explicit small_module(const lib::module::host_callback& callback)
      : module_instance(context, callback) {}
  [[nodiscard]] std::string get_module_information() const override { return "{}"; }

  static constexpr std::uint64_t context = 0xFFFF'FFFF'0000'0001U;
};

module_inbox inbox;

void receive(std::uint64_t context, const std::uint8_t* data, std::uint32_t size) {
  EXPECT_EQ(context, small_module::context);
  inbox.add(data, size);
}

TEST(module_instance, sensors_go_with_it_and_nothing_reaches_the_host_afterwards) {
  auto module = std::make_unique<small_module>(receive);
  const auto container = module->get_service_container();
  lib::module::register_runtime_log(container);
  lib::module::register_sensor_log(container);
  const auto log = container->get_or_create<log_interface>();
  module->get_sensor_dispatcher()->register_sensor(
      "logged", [](const auto& context, lib::module::sensor_stock& stock, const auto& data) {
        stock.add_sensor(context.id, std::make_shared<scripted_sensor>(context, data, nullptr,
                                                                       [](scripted_sensor&) {}));
      });
  auto settings = sensor_named("logged");
  settings.set("logging", "enabled");
  ASSERT_EQ(module->get_sensor_dispatcher()->create_sensor_instance(1, wrap(settings)), 0);
  module.reset();
  EXPECT_TRUE(inbox.logged("Cleaning Up"));
  inbox.clear();
  log->log(0, "late");
  EXPECT_EQ(inbox.message_count(), 0U);
}

TEST(log, lines_reach_the_host_with_severity_owner_and_time) {
  recording_host host;
  const std::chrono::nanoseconds before = std::chrono::system_clock::now().time_since_epoch();
  host.container->get_or_create<log_interface>()->log(3, "any \xff bytes");
  host.container->create<log_interface>(std::int32_t{-5})->log(7, "of a sensor");
  const auto lines = host.inbox.log_records();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].severity(), 3);
  EXPECT_EQ(lines[0].text(), "any \xff bytes");
  EXPECT_FALSE(lines[0].has_sensor_id());
  EXPECT_EQ(lines[1].sensor_id(), -5);
  EXPECT_GE(lines[0].time_ns(), before.count());
  EXPECT_GE(lines[1].time_ns(), lines[0].time_ns());
}

// A line may come from a thread of a library that knows no exceptions.
TEST(log, a_message_service_that_fails_does_not_fail_the_writer) {
  struct failing_service : lib::messaging::message_service_interface {
    void send(const lib::messaging::kavu_message&) override { throw std::runtime_error("no"); }
  };
  const auto container = std::make_shared<lib::module::service_container>();
  EXPECT_THROW(lib::module::register_runtime_log(container), failures::factory_not_available);
  container->add_instance<message_service_interface>(std::make_shared<failing_service>());
  lib::module::register_runtime_log(container);
  EXPECT_NO_THROW(container->get_or_create<log_interface>()->log(0, "line"));
}

}  // namespace
}  // namespace kavu_test
