// Brokers that are killed again and again, at any moment, and sensors that count exactly
// afterwards.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

/// A broker with its sensors, which it has to serve between its deaths.
class site {
 public:
  site(module_host& host, int number) : host_(host), first_id_(number * 1'000'000) {}

  void live_and_die() {
    create_lasting_sensors();
    std::jthread churn([this](const std::stop_token& stop) { come_and_go(stop); });
    std::jthread scans([this](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        EXPECT_EQ(host_.scan(id(round_trip)), KAVU_OK);
      }
    });
    for (int kill = 0; kill < kills; ++kill) {
      wait_for_moment(kill % 3);
      broker_.kill();
      broker_.restart();
    }
  }

  void count() {
    for (const auto& [number, filter, topics] : statistics) {
      EXPECT_TRUE(
          eventually([&, id = id(number)] { return told(host_.scan_result(id)) == nothing; }, 40s))
          << filter << ": " << told(host_.scan_result(id(number)));
    }
    publisher outside(broker_.port());
    std::vector<outgoing_message> messages;
    for (int number = 1; number <= series; ++number) {
      for (const char* topic : {"s/a/t", "s/b/t", "s/c"}) {
        messages.push_back({topic, R"({"n":)" + std::to_string(number) + "}"});
      }
    }
    messages.push_back({"witness", ""});
    outside.publish_many(messages);
    EXPECT_TRUE(eventually(
        [&] { return integer_value(host_.scan_result(id(witness)), 0).value_or(0) == 1; }));
    for (const auto& [number, filter, topics] : statistics) {
      if (number != witness) {
        const auto result = host_.scan_result(id(number));
        EXPECT_EQ(integer_value(result, 0), topics * series) << told(result);
        EXPECT_EQ(integer_value(result, 2), topics) << told(result);
      }
    }
    EXPECT_EQ(told(host_.scan_result(id(custom))), "ok 1=" + std::to_string(series));
    EXPECT_EQ(integer_value(host_.scan_result(id(round_trip)), 3), 4);
  }

  /// Of all that came and went nothing is left.
  void expect_clean() {
    const auto lasting = [this] { return broker_.subscriptions().size() == 4; };
    EXPECT_TRUE(eventually(lasting)) << broker_.subscriptions().size();
    EXPECT_TRUE(broker_.wait_for_clients(1, "TRAVO_"));
  }

 private:
  static constexpr const char* nothing = "ok 0=0 1=0 2=0";
  enum : std::int32_t { witness = 5, custom, round_trip, brief };
  static constexpr struct {
    std::int32_t number;
    const char* filter;
    int topics;  // of those that are published
  } statistics[] = {
      {1, "s/#", 3}, {2, "s/+/t", 2}, {3, "s/a/t", 1}, {4, "s/a/t", 1}, {witness, "witness", 1}};

  std::int32_t id(std::int32_t number) const { return first_id_ + number; }

  void create_lasting_sensors() {
    const auto port = broker_.port();
    const auto create = [this](std::int32_t number, const host_settings& settings) {
      EXPECT_EQ(host_.create_sensor(id(number), settings), KAVU_OK);
    };
    for (const auto& each : statistics) {
      create(each.number, host_settings::statistics_sensor(port, each.filter));
    }
    create(custom,
           host_settings::custom_sensor(port, "s/a/t").channel(1, "$.n", "absolute_integer"));
    create(round_trip, host_settings::roundtrip_sensor(port));
  }

  /// At any moment of its life, while somebody connects, or while everybody subscribes.
  void wait_for_moment(int kind) {
    if (kind == 1) {
      eventually([&] { return !broker_.connected_clients().empty(); });
    } else if (kind == 2) {
      eventually([&] { return broker_.subscriptions().size() >= 4; });
    }
    constexpr std::chrono::milliseconds longest[] = {300ms, 20ms, 100ms};
    pause_up_to(longest[kind]);
  }

  /// Sensors that share the lasting ones' connection, and some that have one of their own.
  void come_and_go(const std::stop_token& stop) {
    std::mt19937 random(std::random_device{}());
    const auto timed = [&](const auto& call) {
      const auto began = clock::now();
      const std::int32_t code = call();
      EXPECT_LT(clock::now() - began, patience);
      return code;
    };
    for (std::int32_t own = id(brief); !stop.stop_requested(); ++own) {
      const char* const filters[] = {"s/#", "s/a/t", "brief/#", "brief/+"};
      auto settings = host_settings::statistics_sensor(broker_.port(), filters[random() % 4]);
      if (random() % 4 == 0) {
        settings.user("brief", "p");
      }
      const auto code = timed([&] { return host_.create_sensor(own, settings); });
      EXPECT_THAT(code, testing::AnyOf(KAVU_OK, KAVU_FAILED));
      std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
      if (code == KAVU_OK) {
        EXPECT_EQ(timed([&] { return host_.scan(own); }), KAVU_OK);
        EXPECT_EQ(timed([&] { return host_.destroy_sensor(own); }), KAVU_OK);
      }
    }
  }

  // What is tested is any moment, so this one waits for nothing.
  void pause_up_to(std::chrono::milliseconds longest) {
    std::this_thread::sleep_for(std::uniform_int_distribution<long>(0, longest / 1us)(random_) *
                                1us);
  }

  module_host& host_;
  const std::int32_t first_id_;
  std::mt19937 random_{std::random_device{}()};
  mosquitto_broker broker_;
};

TEST(broker_kills, at_any_moment_leave_sensors_that_count_exactly) {
  module_host host;
  std::list<site> sites;
  for (int number = 1; number <= broker_count; ++number) {
    sites.emplace_back(host, number);
  }
  const auto all = [&](void (site::*what)()) {
    std::vector<std::jthread> running;
    for (auto& each : sites) {
      running.emplace_back(what, &each);
    }
  };
  all(&site::live_and_die);
  host.inbox().clear();
  all(&site::count);
  all(&site::expect_clean);
}

}  // namespace
}  // namespace kavu_test
