#include "helpers/mosquitto_broker.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "helpers/observer.hpp"

namespace kavu_test {
namespace {

TEST(mosquitto_broker, sees_who_is_connected_and_subscribed_until_it_ends) {
  mosquitto_broker broker;
  for (const auto end : {&mosquitto_broker::stop, &mosquitto_broker::kill}) {
    const observer watching(broker.port(), "a b/#", 1);
    EXPECT_TRUE(broker.wait_for_subscription("a b/#"));
    EXPECT_EQ(broker.connected_clients().size(), 1U);
    const auto held = broker.subscriptions();
    ASSERT_EQ(held.size(), 1U);
    EXPECT_EQ(held[0], (broker_subscription{broker.connected_clients().at(0), "a b/#", 1}));
    (broker.*end)();
    EXPECT_TRUE(broker.subscriptions().empty());
    EXPECT_TRUE(broker.connected_clients().empty());
    broker.restart();
    EXPECT_TRUE(broker.wait_for_clients(1));
  }
  EXPECT_TRUE(broker.wait_for_clients(0));
  EXPECT_EQ(broker.connections_accepted(), 4U);
}

TEST(mosquitto_broker, says_why_it_does_not_start) {
  try {
    mosquitto_broker broker({.extra = {"no_such_option 1"}});
    FAIL() << "it started";
  } catch (const std::runtime_error& failure) {
    EXPECT_THAT(failure.what(), testing::HasSubstr("no_such_option"));
  }
}

}  // namespace
}  // namespace kavu_test
