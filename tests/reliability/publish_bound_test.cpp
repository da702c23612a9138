// A message that nobody acknowledges: publishing ends all the same, within one and a half times the
// keep-alive interval and the time-out.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "helpers/scripted_broker.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::step;
namespace fault = kavu_test::fault;
using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr auto keep_alive = 2s;
constexpr auto time_out = 1s;
constexpr auto bound =
    keep_alive * 3 / 2 + time_out + 1s;  // a second of the library's for noticing

using deed = std::function<void(kavu_test::scripted_broker&)>;

deed instead_of_puback(kavu_test::fault_action action) {
  return [action](kavu_test::scripted_broker& broker) {
    broker.add({.at = step::puback_sent, .action = action});
  };
}

const std::pair<const char*, deed> deeds[] = {
    {"stops", &kavu_test::scripted_broker::pause},
    {"nothing", instead_of_puback(fault::withhold{})},
    {"no MQTT", instead_of_puback(fault::replace{"HTTP/1.1 400 Bad Request\r\n\r\n"})},
    {"zeros", instead_of_puback(fault::replace{std::string(64, '\0')})},
    {"a packet of no type", instead_of_puback(fault::replace{"\xf0\x00"s})},
    {"a length without an end", instead_of_puback(fault::replace{"\x40\xff\xff\xff\xff\xff"s})},
    {"a packet that is never complete", instead_of_puback(fault::replace{"\x40\xff\x7f\x00"s})},
    {"a PUBACK without content", instead_of_puback(fault::replace{"\x40\x00"s})},
    {"the PUBACK of another message", instead_of_puback(fault::replace{"\x40\x02\xff\xff"s})}};

class publishing : public testing::Test, protected client_fixture {
 protected:
  void publish(const char* name, const deed& hurt) const {
    kavu_test::scripted_broker broker;
    auto settings = settings_for(broker.port());
    settings.keep_alive = keep_alive.count();
    settings.connect_timeout = time_out.count();
    const auto client = make(settings);
    hurt(broker);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_NE(
        failure_key([&] { client->publish("a", "x", quality_of_service::at_least_once, false); }),
        "")
        << name;
    EXPECT_LT(std::chrono::steady_clock::now() - began, bound + 500ms) << name;
  }
};

TEST_F(publishing, ends_in_time_at_a_broker_that_does_not_acknowledge) {
  std::vector<std::jthread> running;
  for (const auto& [name, hurt] : deeds) {
    running.emplace_back([&, name = name, &hurt = hurt] { publish(name, hurt); });
  }
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
