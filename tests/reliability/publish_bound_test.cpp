// A message that nobody acknowledges: publishing ends all the same, within one and a half times the
// keep-alive interval and the time-out.

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <thread>
#include <vector>

#include "helpers/scripted_broker.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

namespace fault = kavu_test::fault;
using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr auto keep_alive = 2s;
constexpr auto time_out = 1s;
// A second and a half for the library to notice.
constexpr auto bound = keep_alive * 3 / 2 + time_out + 1500ms;

// What comes instead of the PUBACK; nothing at all where there is no action.
const std::pair<const char*, std::optional<kavu_test::fault_action>> deeds[] = {
    {"the broker stops", std::nullopt},
    {"nothing", fault::withhold{}},
    {"no MQTT", fault::replace{"HTTP/1.1 400 Bad Request\r\n\r\n"}},
    {"a packet that is never complete", fault::replace{"\x40\xff\x7f\x00"s}},
    {"a PUBACK without content", fault::replace{"\x40\x00"s}},
    {"the PUBACK of another message", fault::replace{"\x40\x02\xff\xff"s}}};

class publishing : public testing::Test, protected client_fixture {
 protected:
  void publish(const char* name, const std::optional<kavu_test::fault_action>& action) const {
    kavu_test::scripted_broker broker;
    auto settings = settings_for(broker.port());
    settings.keep_alive = keep_alive.count();
    settings.connect_timeout = time_out.count();
    const auto client = make(settings);
    if (action) {
      broker.add({.at = kavu_test::step::puback_sent, .action = *action});
    } else {
      broker.pause();
    }
    const auto began = std::chrono::steady_clock::now();
    EXPECT_NE(
        failure_key([&] { client->publish("a", "x", quality_of_service::at_least_once, false); }),
        "")
        << name;
    EXPECT_LT(std::chrono::steady_clock::now() - began, bound) << name;
  }
};

TEST_F(publishing, ends_in_time_at_a_broker_that_does_not_acknowledge) {
  std::vector<std::jthread> running;
  for (const auto& [name, action] : deeds) {
    running.emplace_back([this, name = name, &action = action] { publish(name, action); });
  }
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
