// A host that has wire code of its own takes the module into its process and throws it out again,
// many times, and has afterwards what it had before.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/process_figures.hpp"
#include "helpers/publisher.hpp"

namespace kavu_test {
namespace {

constexpr int rounds = 50;
/// What the allocator and others' caches may hold back, over all rounds. A sensor that is
/// forgotten in each round would take more than that.
constexpr std::size_t heap_slack = 32 * 1024;

/// A working life with everything in it that has threads, connections or memory.
void live(module_host& host, std::uint16_t port) {
  ASSERT_TRUE(host.check_succeeds(1, host_settings::connect_check(port)));
  auto settings = host_settings::statistics_sensor(port, "a/#");
  settings.set("logging", "enabled");
  for (const std::int32_t id : {1, 2}) {
    ASSERT_EQ(host.create_sensor(id, settings), KAVU_OK);
  }
  ASSERT_EQ(host.create_sensor(3, settings.set("statistics.connection_statistics.topic", "")),
            KAVU_FAILED);
  ASSERT_TRUE(
      host.notification_response(1, host_settings::notification(port, "a/b", "text")).success());
  ASSERT_TRUE(eventually([&] { return integer_value(host.scan_result(2), 0).value_or(0) == 1; }));
  ASSERT_EQ(host.destroy_sensor(2), KAVU_OK);
  ASSERT_GT(host.definition().size(), 100'000U);
  host.inbox().clear();
}

bool is_mapped(const std::string& library) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(library) != std::string::npos) {
      return true;
    }
  }
  return false;
}

void expect_nothing_left(const std::function<void()>& round) {
  for (int warming_up = 0; warming_up < 5 && !testing::Test::HasFailure(); ++warming_up) {
    round();
  }
  const auto before = process_figures::now();
  for (int number = 0; number < rounds && !testing::Test::HasFailure(); ++number) {
    round();
  }
  EXPECT_TRUE(eventually([&] { return process_figures::now().threads == before.threads; }))
      << testing::PrintToString(thread_names());
  const auto after = process_figures::now();
  EXPECT_EQ(after.descriptors, before.descriptors) << testing::PrintToString(open_descriptors());
  EXPECT_LT(after.heap_bytes, before.heap_bytes + heap_slack) << before << "; " << after;
}

TEST(module_lifetime, loading_and_unloading_leaves_nothing) {
  mosquitto_broker broker;
  expect_nothing_left([&] {
    {
      module_host host;
      live(host, broker.port());
      EXPECT_TRUE(is_mapped("libMQTT.so"));
    }
    EXPECT_FALSE(is_mapped("libMQTT.so"));
    EXPECT_FALSE(is_mapped("libKavuHelper.so"));
  });
  EXPECT_TRUE(broker.wait_for_clients(0));
}

TEST(module_lifetime, initialising_and_cleaning_up_leaves_nothing) {
  mosquitto_broker broker;
  module_host host(/*initialized=*/false);
  expect_nothing_left([&] {
    ASSERT_EQ(host.initialize(), KAVU_OK);
    live(host, broker.port());
    ASSERT_EQ(host.cleanup(), KAVU_OK);
  });
  EXPECT_TRUE(broker.wait_for_clients(0));
}

TEST(module_lifetime, cleaning_up_does_not_wait_for_a_broker_that_is_gone) {
  mosquitto_broker broker;
  module_host host;
  for (const std::int32_t id : {1, 2, 3}) {
    ASSERT_EQ(host.create_sensor(id, host_settings::statistics_sensor(broker.port(), "a/#")),
              KAVU_OK);
  }
  broker.pause();
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(host.cleanup(), KAVU_OK);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
  host.inbox().clear();
  broker.resume();
  EXPECT_TRUE(broker.wait_for_clients(0));
  EXPECT_EQ(host.inbox().message_count(), 0U);
}

}  // namespace
}  // namespace kavu_test
