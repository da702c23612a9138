// A connection over which nothing comes: that of a quiet broker, and that of one that is gone.

#include <gtest/gtest.h>

#include <chrono>

#include "helpers/scripted_broker.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::eventually;
using kavu_test::step;
using namespace std::chrono_literals;

class silent_connection : public testing::Test, protected client_fixture {};

// The network or the broker's process stands still and ends nothing. The keep-alive interval of 300
// seconds would be the next to notice.
TEST_F(silent_connection, is_noticed_and_comes_back) {
  kavu_test::scripted_broker gone;
  kavu_test::scripted_broker quiet;
  const auto client = make(persistent_settings_for(gone.port()));
  const auto other = make(persistent_settings_for(quiet.port()));
  const listener all("#");
  client->subscribe(all.subscription);
  gone.pause();
  EXPECT_TRUE(eventually([&] { return !client->is_connected(); }, 90s));
  gone.resume();
  EXPECT_TRUE(eventually(
      [&] { return failure_key([&] { client->require_subscribed("#"); }).empty(); }, 30s));
  gone.publish("a", "x");
  EXPECT_TRUE(all.messages->wait_for(1));
  // The quiet one was asked, and has answered.
  EXPECT_TRUE(quiet.wait_for_count(step::unsuback_sent, 1));
  EXPECT_TRUE(other->is_connected());
  EXPECT_EQ(quiet.count(step::connect_received), 1U);
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
