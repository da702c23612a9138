// Hosts that call from all sides with whatever comes to mind.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <vector>

#include "helpers/loopback_port.hpp"
#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/process_figures.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;

/// Calls everything that may be called at the same time, with random ids and bytes, from one
/// thread. Only whole messages name a port: a damaged one never reaches the network.
class caller {
 public:
  caller(const module_functions& functions, std::vector<std::string> whole, unsigned seed)
      : functions_(functions), whole_(std::move(whole)), random_(seed) {}

  /// Codes that no function may return here.
  int surprises() const { return surprises_; }
  int calls() const { return calls_; }

  void call_once() {
    const std::string bytes = random_bytes();
    const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const auto id = static_cast<std::int32_t>(random_() % 12);
    ++calls_;
    switch (random_() % 6) {
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
  std::uint32_t random(std::uint32_t below) {
    return static_cast<std::uint32_t>(random_() % below);
  }

  std::string random_bytes() {
    std::string bytes = whole_[random_() % whole_.size()];
    switch (random_() % 4) {
      case 0:
        bytes.resize(random_() % bytes.size());
        break;
      case 1:
        bytes.resize(random_() % 300);
        for (char& byte : bytes) {
          byte = static_cast<char>(random_());
        }
        break;
      default:
        break;
    }
    return bytes;
  }

  void ask_for_information() {
    std::vector<std::uint8_t> buffer(1 + random(1000));
    auto size = static_cast<std::uint32_t>(buffer.size());
    expect(functions_.get_module_information_sync(buffer.data(), &size, random(2)), {1});
    functions_.get_module_information(0);
    expect(functions_.get_api_level(), {6});
  }

  void expect(std::int32_t code, const std::vector<std::int32_t>& allowed) {
    surprises_ += std::count(allowed.begin(), allowed.end(), code) == 0 ? 1 : 0;
  }

  const module_functions& functions_;
  const std::vector<std::string> whole_;
  std::mt19937 random_;
  int surprises_ = 0;
  int calls_ = 0;
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
  constexpr unsigned threads = 8;
  const mosquitto_options quiet{.log_packets = false};
  mosquitto_broker broker(quiet);
  const auto messages = whole_messages(broker.port(), free_loopback_port());
  module_host host(/*initialized=*/false);
  std::atomic<std::uint64_t> received = 0;
  int calls = 0;
  const auto end = std::chrono::steady_clock::now() + 6s;
  // Initialising and cleaning up may not run beside other calls; all else may.
  for (unsigned life = 0; std::chrono::steady_clock::now() < end; ++life) {
    ASSERT_EQ(
        host.functions().initialize_module(reinterpret_cast<std::uint64_t>(&received), receive),
        KAVU_OK);
    std::vector<caller> callers;
    callers.reserve(threads);
    for (unsigned number = 0; number < threads; ++number) {
      callers.emplace_back(host.functions(), messages, life * threads + number);
    }
    {
      std::vector<std::jthread> running;
      for (auto& each : callers) {
        running.emplace_back([&each] {
          for (const auto until = std::chrono::steady_clock::now() + 600ms;
               std::chrono::steady_clock::now() < until;) {
            each.call_once();
          }
        });
      }
    }
    ASSERT_EQ(host.cleanup(), KAVU_OK);
    const auto after_the_end = received.load();
    for (const auto& each : callers) {
      EXPECT_EQ(each.surprises(), 0);
      calls += each.calls();
    }
    EXPECT_TRUE(broker.wait_for_clients(0));
    EXPECT_EQ(received, after_the_end);
  }
  EXPECT_GT(calls, 100);
  RecordProperty("calls", calls);
}

}  // namespace
}  // namespace kavu_test
