#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "kavuhelper/messaging/persistent_data.hpp"
#include "kavuhelper/module/module_instance.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "platform/recording_host.hpp"

namespace kavu_test {
namespace {

using lib::messaging::message_service_interface;

class small_module : public lib::module::module_instance {
 public:
  using module_instance::module_instance;
  [[nodiscard]] std::string get_module_information() const override { return "{}"; }
};

std::atomic<int> calls;
std::atomic<std::uint64_t> last_context;

void count(std::uint64_t context, const std::uint8_t*, std::uint32_t) {
  ++calls;
  last_context = context;
}

[[noreturn]] void refuse(std::uint64_t, const std::uint8_t*, std::uint32_t) {
  ++calls;
  throw std::runtime_error("the host's own failure");
}

const lib::messaging::persistent_data message(1, {{"key", "value"}});

TEST(module_instance, messages_carry_the_hosts_context) {
  const std::uint64_t context = 0xFFFF'FFFF'0000'0001U;
  const lib::module::host_callback callback = count;
  const small_module module(context, callback);
  EXPECT_EQ(module.get_service_container()->factory_count(), 1U);
  EXPECT_EQ(module.get_service_container()->instance_count(), 0U);
  calls = 0;
  module.get_service_container()->get_or_create<message_service_interface>()->send(message);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(last_context, context);
}

TEST(module_instance, nothing_reaches_the_host_after_the_module_has_gone) {
  auto module = std::make_unique<small_module>(1, count);
  const auto container = module->get_service_container();
  const auto service = container->get_or_create<message_service_interface>();
  lib::module::register_runtime_log(container);
  const auto log = container->get_or_create<brunvik::monitoring_modules::liblog::log_interface>();
  module.reset();
  calls = 0;
  service->send(message);
  log->log(0, "late");
  EXPECT_EQ(calls, 0);
}

TEST(module_instance, a_failure_of_the_hosts_callback_ends_in_the_service) {
  calls = 0;
  const small_module module(1, refuse);
  const auto service = module.get_service_container()->get_or_create<message_service_interface>();
  EXPECT_NO_THROW(service->send(message));
  EXPECT_NO_THROW(service->send(message));
  EXPECT_EQ(calls, 2);
}

TEST(module_instance, needs_a_callback) {
  EXPECT_THROW(small_module(1, nullptr), lib::utils::exceptions::initialization_error);
}

TEST(module_instance, sensors_go_with_it_and_still_reach_the_host) {
  module_inbox inbox;
  static module_inbox* receiver = &inbox;
  receiver = &inbox;
  auto module =
      std::make_unique<small_module>(1, [](std::uint64_t, const std::uint8_t* data,
                                           std::uint32_t size) { receiver->add(data, size); });
  lib::module::register_sensor_log(module->get_service_container());
  module->get_sensor_dispatcher()->register_sensor(
      "logged", [](const auto& context, lib::module::sensor_stock& stock, const auto& data) {
        stock.add_sensor(context.id, std::make_shared<scripted_sensor>(context, data, nullptr,
                                                                       [](scripted_sensor&) {}));
      });
  auto settings = sensor_named("logged");
  settings.set("logging", "enabled");
  ASSERT_EQ(module->get_sensor_dispatcher()->create_sensor_instance(1, wrap(settings)), 0);
  module.reset();
  EXPECT_TRUE(inbox.logged("#################### Cleaning Up  ####################"));
}

}  // namespace
}  // namespace kavu_test
