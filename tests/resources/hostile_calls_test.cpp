// Hosts that call from all sides with whatever comes to mind.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "helpers/loopback_port.hpp"
#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;

/// Calls everything that may be called at the same time, with random ids and bytes, from one
/// thread. Only whole messages name a port: a damaged one never reaches the network.
class caller {
 public:
  caller(const module_functions& functions, std::vector<std::string> whole, unsigned seed)
      : functions_(functions), whole_(std::move(whole)), random_(seed) {}

  void call_once() {
    const std::string bytes = random_bytes();
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const auto id = static_cast<std::int32_t>(random(12));
    switch (random(6)) {
      case 0:
        return expect(functions_.create_sensor_instance(id, data, size), {0, 2, 4, 5});
      case 1:
        return expect(functions_.execute_sensor_scan(id), {0, 6});
      case 2:
        return expect(functions_.destroy_sensor_instance(id), {0, 6});
      case 3:
        return expect(functions_.execute_check(id, data, size), {0, 2, 4});
      case 4:
        return expect(functions_.execute_meta_scan(id, random(3), data, size), {0, 2, 4, 7});
      default:
        return ask_for_information();
    }
  }

 private:
  std::uint32_t random(std::size_t below) { return static_cast<std::uint32_t>(random_() % below); }

  std::string random_bytes() {
    std::string bytes = whole_[random(whole_.size())];
    const auto kind = random(4);
    if (kind == 0) {
      bytes.resize(random(bytes.size()));
    } else if (kind == 1) {
      bytes.resize(random(300));
      std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(random_()); });
    }
    return bytes;
  }

  void ask_for_information() {
    std::vector<std::uint8_t> buffer(1 + random(1000));
    auto size = static_cast<std::uint32_t>(buffer.size());
    expect(functions_.get_module_information_sync(buffer.data(), &size, random(2)), {1});
    functions_.get_module_information(0);
  }

  static void expect(std::int32_t code, std::initializer_list<std::int32_t> documented) {
    EXPECT_TRUE(std::count(documented.begin(), documented.end(), code) == 1) << code;
  }

  const module_functions& functions_;
  const std::vector<std::string> whole_;
  std::mt19937 random_;
};

std::vector<std::string> whole_messages(std::uint16_t broker, std::uint16_t nobody) {
  auto incomplete = host_settings::statistics_sensor(broker, "a").remove("host");
  return {host_settings::statistics_sensor(broker, "a/#").set("timeout", "1").serialize(),
          host_settings::statistics_sensor(nobody, "a/#").set("timeout", "1").serialize(),
          host_settings::custom_sensor(broker, "a").channel(1, "$.a").serialize(),
          host_settings::statistics_sensor(broker, "a/#/b").serialize(),
          incomplete.serialize(),
          incomplete.kind("nothing").serialize(),
          host_settings::connect_check(broker).serialize(),
          host_settings::connect_check(nobody).set("timeout", "1").serialize(),
          host_settings::notification(broker, "a", "text").serialize()};
}

void receive(std::uint64_t received, const std::uint8_t*, std::uint32_t size) {
  *reinterpret_cast<std::atomic<std::uint64_t>*>(received) += size;
}

TEST(hostile_calls, from_eight_threads_at_once_do_no_harm) {
  mosquitto_broker broker{{.log_packets = false}};
  const auto messages = whole_messages(broker.port(), free_loopback_port());
  module_host host(/*initialized=*/false);
  std::atomic<std::uint64_t> received = 0;
  // Initialising and cleaning up may not run beside other calls; all else may.
  for (unsigned life = 0; life < 8 && !testing::Test::HasFailure(); ++life) {
    ASSERT_EQ(
        host.functions().initialize_module(reinterpret_cast<std::uint64_t>(&received), receive),
        KAVU_OK);
    {
      std::vector<std::jthread> running;
      for (unsigned number = 0; number < 8; ++number) {
        running.emplace_back([&, seed = 8 * life + number] {
          caller calls(host.functions(), messages, seed);
          for (const auto until = std::chrono::steady_clock::now() + 600ms;
               std::chrono::steady_clock::now() < until;) {
            calls.call_once();
          }
        });
      }
    }
    ASSERT_EQ(host.cleanup(), KAVU_OK);
    const auto after_the_end = received.load();
    EXPECT_GT(after_the_end, 0U);
    EXPECT_TRUE(broker.wait_for_clients(0));
    EXPECT_EQ(received, after_the_end);
  }
}

}  // namespace
}  // namespace kavu_test
