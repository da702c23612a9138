// Sensors come and go a hundred at a time, and leave nothing behind.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/process_figures.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

constexpr std::int32_t sensors = 100;
constexpr int connections = 4;
/// What allocators may hold back over all rounds.
constexpr std::size_t heap_slack = 64 * 1024;
/// Whenever the MQTT library starts again, after its last connection has gone, it takes a number
/// from the TLS library, which keeps some 60 bytes for each until the process ends.
constexpr std::size_t slack_of_a_round = 100;

mosquitto_options quiet() {
  mosquitto_options options;
  options.log_packets = false;
  return options;
}

host_settings sensor(std::int32_t id, std::uint16_t port) {
  const std::string topic = "t/" + std::to_string(id);
  auto settings = id % 5 == 0   ? host_settings::roundtrip_sensor(port)
                  : id % 2 == 0 ? host_settings::statistics_sensor(port, topic + "/#")
                                : host_settings::custom_sensor(port, topic).channel(1, "$.a");
  // A round trip connects only to be scanned; the others share the connections.
  return settings.user("guest" + std::to_string(id % connections), "secret");
}

class churn : public testing::Test {
 protected:
  void round() {
    const auto began = clock::now();
    for (std::int32_t id = 0; id < sensors; ++id) {
      ASSERT_EQ(host.create_sensor(id, sensor(id, broker.port())), KAVU_OK);
    }
    created.push_back(clock::now() - began);
    for (std::int32_t id = 0; id < sensors; ++id) {
      ASSERT_EQ(host.destroy_sensor(id), KAVU_OK);
    }
    rounds.push_back(clock::now() - began);
    host.inbox().clear();
  }

  static double median_ms(std::vector<clock::duration> times) {
    std::nth_element(times.begin(), times.begin() + static_cast<long>(times.size() / 2),
                     times.end());
    return std::chrono::duration<double, std::milli>(times[times.size() / 2]).count();
  }

  mosquitto_broker broker{quiet()};
  module_host host;
  std::vector<clock::duration> created;
  std::vector<clock::duration> rounds;
};

TEST_F(churn, leaves_nothing_behind_after_many_rounds) {
  const char* wanted = std::getenv("KAVU_ROUNDS");
  const std::size_t most = wanted != nullptr ? std::strtoul(wanted, nullptr, 10) : 1000;
  const auto end = wanted != nullptr ? clock::time_point::max() : clock::now() + 30s;
  for (int warming_up = 0; warming_up < 10 && !HasFailure(); ++warming_up) {
    round();
  }
  const auto already = broker.connections_accepted("TRAVO_");
  const auto before = process_figures::now();
  created.clear();
  rounds.clear();
  while (rounds.size() < most && clock::now() < end && !HasFailure()) {
    round();
  }
  EXPECT_TRUE(eventually([&] { return process_figures::now().threads == before.threads; }))
      << testing::PrintToString(thread_names());
  const auto after = process_figures::now();
  EXPECT_EQ(after.descriptors, before.descriptors) << testing::PrintToString(open_descriptors());
  EXPECT_LT(after.heap_bytes, before.heap_bytes + heap_slack + rounds.size() * slack_of_a_round)
      << before << "; " << after;
  EXPECT_TRUE(broker.wait_for_clients(0));
  EXPECT_EQ(broker.connections_accepted("TRAVO_") - already, connections * rounds.size());
  std::cout << rounds.size() << " rounds of " << sensors << " sensors, " << median_ms(rounds)
            << " ms each (median), " << median_ms(created)
            << " ms of it to create them\nbefore: " << before << "\nafter:  " << after << '\n';
  RecordProperty("rounds", static_cast<int>(rounds.size()));
}

}  // namespace
}  // namespace kavu_test
