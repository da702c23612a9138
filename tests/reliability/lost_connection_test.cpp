// A connection that is lost is brought back by one hand only: two that set it up at the same time
// take each other's memory away.

#include <gtest/gtest.h>

#include <chrono>

#include "helpers/scripted_broker.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::step;

class lost_connection : public testing::Test, protected client_fixture {};

TEST_F(lost_connection, is_brought_back_once_and_in_the_version_that_it_had) {
  kavu_test::scripted_broker broker;
  const auto client = make(persistent_settings_for(broker.port()));
  const listener all("a/#");
  client->subscribe(all.subscription);
  constexpr std::size_t losses = 8;
  for (std::size_t loss = 1; loss <= losses; ++loss) {
    broker.drop();
    const auto began = std::chrono::steady_clock::now();
    ASSERT_TRUE(broker.wait_for([&] { return broker.subscribe_count("a/#") > loss; }));
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(2500)) << loss;
    ASSERT_TRUE(kavu_test::eventually(
        [&] { return failure_key([&] { client->require_subscribed("a/#"); }).empty(); }));
  }
  const auto attempts = broker.packets(step::connect_received);
  EXPECT_EQ(attempts.size(), losses + 1);
  for (const auto& each : attempts) {
    EXPECT_EQ(each.packet.protocol_level, 4);
  }
  EXPECT_FALSE(logged("automatic reconnect"));  // of the library
}

// The broker is there all the time, and lets go of each connection as soon as it stands.
TEST_F(lost_connection, is_back_soon_after_losses_one_after_the_other) {
  kavu_test::scripted_broker broker;
  const auto client = make(persistent_settings_for(broker.port()));
  const listener all("a/#");
  client->subscribe(all.subscription);
  for (std::size_t loss = 1; loss <= 4; ++loss) {
    broker.drop();
    ASSERT_TRUE(broker.wait_for_count(step::connack_sent, loss + 1));
  }
  const auto began = std::chrono::steady_clock::now();
  EXPECT_TRUE(kavu_test::eventually(
      [&] { return failure_key([&] { client->require_subscribed("a/#"); }).empty(); }));
  // The connection has stood since then: only the filter had to be asked for.
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(2));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
