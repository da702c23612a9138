// Brokers that are killed again and again, at any moment, and sensors that count exactly
// afterwards.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <list>
#include <random>
#include <thread>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/publisher.hpp"
#include "sensors/told.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

constexpr int broker_count = 10;
constexpr int kills = 20;       // of each broker
constexpr int series = 100;     // messages to each topic
constexpr auto patience = 22s;  // twice the time-out, and two seconds

unsigned choose_seed() {
  const char* given = std::getenv("KAVU_TEST_SEED");
  return given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
}

/// A broker with its sensors, which it has to serve between its deaths.
class site {
 public:
  site(module_host& host, int number, unsigned seed)
      : host_(host),
        first_id_(number * 1'000'000),
        seed_(seed),
        random_(seed + static_cast<unsigned>(number)) {}

  void live_and_die() {
    SCOPED_TRACE("KAVU_TEST_SEED=" + std::to_string(seed_));
    create_lasting_sensors();
    std::jthread churn([this](const std::stop_token& stop) { come_and_go(stop); });
    std::jthread scans([this](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        EXPECT_EQ(host_.scan(round_trip()), KAVU_OK);
      }
    });
    for (int kill = 0; kill < kills; ++kill) {
      wait_for_moment(kill % 3);
      if (kill % 7 == 6) {
        broker_.pause();
        pause_up_to(200ms);
        broker_.resume();
        pause_up_to(20ms);
      }
      kill % 10 == 9 ? broker_.stop() : broker_.kill();
      broker_.restart();
    }
  }

  void count() {
    SCOPED_TRACE("KAVU_TEST_SEED=" + std::to_string(seed_));
    for (const auto& [id, filter] : statistics()) {
      EXPECT_TRUE(eventually([&, id = id] { return told(host_.scan_result(id)) == nothing; }, 40s))
          << filter << ": " << told(host_.scan_result(id));
    }
    publisher outside(broker_.port());
    std::vector<outgoing_message> messages;
    for (int number = 1; number <= series; ++number) {
      for (const char* topic : {"s/a/t", "s/b/t", "s/c"}) {
        messages.push_back({topic, R"({"n":)" + std::to_string(number) + "}"});
      }
    }
    outside.publish_many(messages);
    outside.publish("witness", "");
    EXPECT_TRUE(eventually(
        [&] { return integer_value(host_.scan_result(witness()), 0).value_or(0) == 1; }));
    for (const auto& [id, topics] : {std::pair{1, 3}, {2, 2}, {3, 1}, {4, 1}}) {
      const auto result = host_.scan_result(first_id_ + id);
      EXPECT_EQ(integer_value(result, 0), topics * series) << told(result);
      EXPECT_EQ(integer_value(result, 2), topics) << told(result);
    }
    EXPECT_EQ(told(host_.scan_result(custom())), "ok 1=" + std::to_string(series));
    EXPECT_EQ(integer_value(host_.scan_result(round_trip()), 3), 4);
  }

  /// Of all that came and went nothing is left.
  void expect_clean() {
    const std::multiset<std::string> expected{"s/#", "s/+/t", "s/a/t", "witness"};
    EXPECT_TRUE(eventually([&] {
      std::multiset<std::string> filters;
      for (const auto& each : broker_.subscriptions()) {
        filters.insert(each.filter);
      }
      return filters == expected;
    })) << testing::PrintToString(broker_.subscriptions().size());
    EXPECT_TRUE(broker_.wait_for_clients(1, "TRAVO_"));
  }

 private:
  static constexpr const char* nothing = "ok 0=0 1=0 2=0";

  std::int32_t custom() const { return first_id_ + 10; }
  std::int32_t round_trip() const { return first_id_ + 11; }
  std::int32_t witness() const { return first_id_ + 5; }
  std::vector<std::pair<std::int32_t, std::string>> statistics() const {
    return {{first_id_ + 1, "s/#"},
            {first_id_ + 2, "s/+/t"},
            {first_id_ + 3, "s/a/t"},
            {first_id_ + 4, "s/a/t"},
            {witness(), "witness"}};
  }

  void create_lasting_sensors() {
    const auto port = broker_.port();
    for (const auto& [id, filter] : statistics()) {
      ASSERT_EQ(host_.create_sensor(id, host_settings::statistics_sensor(port, filter)), KAVU_OK);
    }
    const auto settings =
        host_settings::custom_sensor(port, "s/a/t").channel(1, "$.n", "absolute_integer");
    ASSERT_EQ(host_.create_sensor(custom(), settings), KAVU_OK);
    ASSERT_EQ(host_.create_sensor(round_trip(), host_settings::roundtrip_sensor(port)), KAVU_OK);
  }

  /// At any moment of its life, while somebody connects, or while everybody subscribes.
  void wait_for_moment(int kind) {
    if (kind == 0) {
      pause_up_to(300ms);
      return;
    }
    const auto everybody = [](auto& broker) { return broker.subscriptions().size() >= 4; };
    eventually(
        [&] { return kind == 1 ? !broker_.connected_clients().empty() : everybody(broker_); });
    pause_up_to(kind == 1 ? 20ms : 100ms);
  }

  /// Sensors that share the lasting ones' connection, and some that have one of their own.
  void come_and_go(const std::stop_token& stop) {
    std::mt19937 random(seed_ + static_cast<unsigned>(first_id_));
    auto slowest = clock::duration::zero();
    const auto timed = [&](const auto& call) {
      const auto began = clock::now();
      const std::int32_t code = call();
      slowest = std::max(slowest, clock::now() - began);
      return code;
    };
    for (std::int32_t id = first_id_ + 100; !stop.stop_requested(); ++id) {
      const char* const filters[] = {"s/#", "s/a/t", "brief/#", "brief/+"};
      auto settings = host_settings::statistics_sensor(broker_.port(), filters[random() % 4]);
      if (random() % 4 == 0) {
        settings.user("brief", "p");
      }
      const auto code = timed([&] { return host_.create_sensor(id, settings); });
      EXPECT_THAT(code, testing::AnyOf(KAVU_OK, KAVU_FAILED));
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
      if (code == KAVU_OK) {
        EXPECT_EQ(timed([&] { return host_.scan(id); }), KAVU_OK);
        EXPECT_EQ(timed([&] { return host_.destroy_sensor(id); }), KAVU_OK);
      }
    }
    EXPECT_LT(slowest, patience);
  }

  // What is tested is any moment, so this one waits for nothing.
  void pause_up_to(std::chrono::milliseconds longest) {
    std::this_thread::sleep_for(std::uniform_int_distribution<long>(0, longest / 1us)(random_) *
                                1us);
  }

  module_host& host_;
  const std::int32_t first_id_;
  const unsigned seed_;
  std::mt19937 random_;
  mosquitto_broker broker_;
};

TEST(broker_kills, at_any_moment_leave_sensors_that_count_exactly) {
  module_host host;
  const unsigned seed = choose_seed();
  std::list<site> sites;
  for (int number = 1; number <= broker_count; ++number) {
    sites.emplace_back(host, number, seed);
  }
  const auto all = [&](void (site::*what)()) {
    std::vector<std::future<void>> running;
    for (auto& each : sites) {
      running.push_back(std::async(std::launch::async, what, &each));
    }
    for (auto& each : running) {
      each.get();
    }
  };
  all(&site::live_and_die);
  host.inbox().clear();
  all(&site::count);
  all(&site::expect_clean);
}

}  // namespace
}  // namespace kavu_test
