// Sensors come and go a hundred at a time, the module is cleaned up or unloaded, again and again,
// and nothing is left behind.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/process_figures.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

/// What allocators may hold back over all rounds. A sensor forgotten in each would take more.
constexpr std::size_t heap_slack = 32 * 1024;
/// Whenever the MQTT library starts again, after its last connection has gone, it takes a number
/// from the TLS library, which keeps some 60 bytes for each until the process ends.
constexpr std::size_t slack_of_a_round = 100;

/// Lets `round` happen so often, or for half a minute, or as KAVU_ROUNDS wants it.
void expect_nothing_left(const std::function<void()>& round, std::size_t most) {
  const char* wanted = std::getenv("KAVU_ROUNDS");
  const auto longest = wanted != nullptr ? 24h : 30s;
  most = wanted != nullptr ? std::strtoul(wanted, nullptr, 10) : most;
  const auto going_on = [] { return !testing::Test::HasFailure(); };
  for (int warming_up = 0; warming_up < 10 && going_on(); ++warming_up) {
    round();
  }
  const auto before = process_figures::now();
  const auto end = clock::now() + longest;
  std::size_t rounds = 0;
  for (; rounds < most && clock::now() < end && going_on(); ++rounds) {
    round();
  }
  EXPECT_TRUE(eventually([&] { return process_figures::now().threads == before.threads; }))
      << testing::PrintToString(thread_names());
  const auto after = process_figures::now();
  EXPECT_EQ(after.descriptors, before.descriptors) << testing::PrintToString(open_descriptors());
  EXPECT_LT(after.heap_bytes, before.heap_bytes + heap_slack + rounds * slack_of_a_round);
  std::cout << rounds << " rounds\nbefore: " << before << "\nafter:  " << after << '\n';
}

class churn : public testing::Test {
 protected:
  /// A working life with everything in it that has threads, connections or memory.
  void live() {
    const auto port = broker.port();
    ASSERT_TRUE(host->check_succeeds(1, host_settings::connect_check(port)));
    auto settings = host_settings::statistics_sensor(port, "a/#");
    settings.set("logging", "enabled");
    for (const std::int32_t id : {1, 2}) {
      ASSERT_EQ(host->create_sensor(id, settings), KAVU_OK);
    }
    ASSERT_EQ(host->create_sensor(3, settings.set("statistics.connection_statistics.topic", "")),
              KAVU_FAILED);
    ASSERT_TRUE(
        host->notification_response(1, host_settings::notification(port, "a/b", "text")).success());
    ASSERT_TRUE(
        eventually([&] { return integer_value(host->scan_result(2), 0).value_or(0) == 1; }));
    ASSERT_EQ(host->destroy_sensor(2), KAVU_OK);
    ASSERT_GT(host->definition().size(), 100'000U);
    host->inbox().clear();
  }

  static constexpr std::int32_t sensors = 100;
  static constexpr int connections = 4;

  /// A round trip connects only to be scanned; the others share the connections.
  host_settings sensor(std::int32_t id) const {
    const std::string topic = "t/" + std::to_string(id);
    auto settings = id % 5 == 0 ? host_settings::roundtrip_sensor(broker.port())
                    : id % 2 == 0
                        ? host_settings::statistics_sensor(broker.port(), topic + "/#")
                        : host_settings::custom_sensor(broker.port(), topic).channel(1, "$.a");
    return settings.user("guest" + std::to_string(id % connections), "secret");
  }

  mosquitto_broker broker{{.log_packets = false}};
  std::optional<module_host> host;
};

TEST_F(churn, of_sensors_leaves_nothing_behind) {
  host.emplace();
  std::size_t rounds = 0;
  const auto round = [&] {
    for (std::int32_t id = 0; id < sensors; ++id) {
      ASSERT_EQ(host->create_sensor(id, sensor(id)), KAVU_OK);
    }
    for (std::int32_t id = 0; id < sensors; ++id) {
      ASSERT_EQ(host->destroy_sensor(id), KAVU_OK);
    }
    host->inbox().clear();
    ++rounds;
  };
  expect_nothing_left(round, 500);
  EXPECT_TRUE(broker.wait_for_clients(0));
  EXPECT_EQ(broker.connections_accepted("TRAVO_"), connections * rounds);
}

TEST_F(churn, of_loading_and_unloading_leaves_nothing_behind) {
  const auto unloaded = [] {
    return !is_loaded(module_path()) &&
           !is_loaded(module_path().parent_path() / "libKavuHelper.so");
  };
  expect_nothing_left(
      [&] {
        host.emplace();
        live();
        host.reset();
        EXPECT_TRUE(unloaded());
      },
      50);
  EXPECT_TRUE(broker.wait_for_clients(0));
}

TEST_F(churn, of_initialising_and_cleaning_up_leaves_nothing_behind) {
  host.emplace(/*initialized=*/false);
  expect_nothing_left(
      [&] {
        ASSERT_EQ(host->initialize(), KAVU_OK);
        live();
        ASSERT_EQ(host->cleanup(), KAVU_OK);
      },
      50);
  EXPECT_TRUE(broker.wait_for_clients(0));
}

}  // namespace
}  // namespace kavu_test
