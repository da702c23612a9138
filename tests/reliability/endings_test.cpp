// Sensors, the module and its library end in time, whatever has become of the broker.

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/scripted_broker.hpp"
#include "reliability/slowness.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

enum class ending { destroying, cleaning_up, unloading };
constexpr ending endings[] = {ending::destroying, ending::cleaning_up, ending::unloading};

/// Sensors on one connection, or each on its own.
class population {
 public:
  population(std::uint16_t port, int count, bool sharing = true)
      : count_(count), host_(std::in_place) {
    auto settings = host_settings::statistics_sensor(port, "a").set("logging", "enabled");
    for (int id = 1; id <= count; ++id) {
      const std::string number = std::to_string(id);
      settings.set("statistics.connection_statistics.topic", "a/" + number);
      if (!sharing) {
        settings.user("user " + number, "p");
      }
      EXPECT_EQ(host_->create_sensor(id, settings), KAVU_OK);
    }
  }

  void end(ending how, std::chrono::milliseconds limit) {
    const auto began = clock::now();
    if (how == ending::unloading) {
      host_.reset();
    } else if (how == ending::cleaning_up) {
      EXPECT_EQ(host_->cleanup(), KAVU_OK);
    } else {
      std::vector<std::jthread> calls;  // each may take its time, and none another one's
      for (int id = 1; id <= count_; ++id) {
        calls.emplace_back([this, id] { EXPECT_EQ(host_->destroy_sensor(id), KAVU_OK); });
      }
    }
    EXPECT_LT(clock::now() - began, slowness * limit) << static_cast<int>(how) << " of " << count_;
  }

  /// Waits until every sensor has seen two attempts fail: into the pause of two seconds.
  bool wait_for_pause() {
    const auto failed = [](const kavu::wire::Envelope& each) {
      return each.log_record().text().find("Connection attempt failed") != std::string::npos;
    };
    const auto lines = 2 * static_cast<std::size_t>(count_);
    return eventually([&] { return host_->inbox().messages(failed).size() >= lines; });
  }

 private:
  const int count_;
  std::optional<module_host> host_;
};

TEST(endings, do_not_wait_for_the_next_attempt_to_connect) {
  for (const auto how : endings) {
    for (const bool sharing : {true, false}) {
      mosquitto_broker broker;
      population sensors(broker.port(), sharing ? 50 : 10, sharing);
      broker.kill();
      ASSERT_TRUE(sensors.wait_for_pause());
      sensors.end(how, 1s);
    }
  }
}

TEST(endings, do_not_wait_for_a_broker_that_has_stopped) {
  for (const auto how : endings) {
    for (const auto& [count, sharing] : {std::pair{1, true}, {50, true}, {10, false}}) {
      mosquitto_broker broker;
      population sensors(broker.port(), count, sharing);
      broker.pause();
      sensors.end(how, 2s);
    }
  }
}

TEST(endings, do_not_wait_for_a_broker_that_does_not_answer_goodbyes) {
  for (const auto how : endings) {
    scripted_broker broker;
    broker.add({.at = step::unsuback_sent, .action = fault::withhold{}});
    broker.add({.at = step::disconnect_received, .action = fault::withhold{}});
    population sensors(broker.port(), 50);
    sensors.end(how, 2s);
  }
}

}  // namespace
}  // namespace kavu_test
