// A broker that refuses, does not answer, or leaves in the middle.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "helpers/scripted_broker.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::eventually;
using kavu_test::step;
namespace fault = kavu_test::fault;
using namespace std::chrono_literals;
using testing::HasSubstr;

class misbehaving_broker_test : public testing::Test, protected client_fixture {
 protected:
  std::unique_ptr<mqtt_client_paho> connect(std::int64_t time_out = 1) {
    auto settings = settings_for(broker_.port());
    settings.connect_timeout = time_out;
    return make(settings);
  }

  kavu_test::scripted_broker broker_;
};

TEST_F(misbehaving_broker_test,
       a_subscription_that_is_not_granted_fails_in_time_and_leaves_nothing) {
  const auto client = connect();
  const std::pair<kavu_test::fault_rule, const char*> cases[] = {
      {{step::subscribe_received, fault::refuse{}}, "The broker refused the subscription"},
      {{step::subscribe_received, fault::refuse{0x8f}},  // as MQTT 5 would put it
       "The broker refused the subscription"},
      {{step::suback_sent, fault::withhold{}}, "#:error.timeout"}};
  for (const auto& [rule, words] : cases) {
    const auto misdeed = broker_.add(rule);
    const listener any("a/b");
    const auto began = std::chrono::steady_clock::now();
    EXPECT_THAT(failure_key([&] { client->subscribe(any.subscription); }), HasSubstr(words));
    EXPECT_LT(std::chrono::steady_clock::now() - began, 3s);
    EXPECT_EQ(client->subscription_count(), 0U);
    broker_.release(misdeed);
  }
}

// Brokers of MQTT 3.1 alone answer with a code, or do not know what they hear and hang up.
TEST_F(misbehaving_broker_test, the_older_protocol_is_tried_only_where_it_may_help) {
  struct {
    kavu_test::fault_action answer;
    std::vector<int> levels;
    bool connects;
  } const cases[] = {{fault::refuse{.code = 1}, {4, 3}, true},
                     {fault::close{}, {4, 3}, true},
                     {fault::refuse{.code = 4}, {4}, false}};
  for (const auto& each : cases) {
    broker_.forget_packets();
    broker_.add({.at = step::connect_received, .action = each.answer, .times = 1});
    EXPECT_EQ(failure_key([&] { connect(5); }).empty(), each.connects);
    std::vector<int> levels;
    for (const auto& packet : broker_.packets(step::connect_received)) {
      levels.push_back(packet.packet.protocol_level);
    }
    EXPECT_EQ(levels, each.levels);
  }
  // The older one is no habit: it knows no refused subscription.
  auto settings = settings_for(broker_.port());
  settings.automatic_reconnect = true;
  broker_.forget_packets();
  broker_.add({.at = step::connect_received, .action = fault::close{}, .times = 3});
  const auto client = make(settings);
  ASSERT_TRUE(eventually([&] { return client->is_connected(); }));
  broker_.drop();
  const auto is_back = [&] { return broker_.count(step::connack_sent) == 2; };
  EXPECT_TRUE(broker_.wait_for(is_back));
  EXPECT_EQ(broker_.packets(step::connect_received).back().packet.protocol_level, 4);

  broker_.add({.at = step::connect_received, .action = fault::refuse{.code = 1}, .times = 1});
  broker_.add({.at = step::connect_received, .action = fault::refuse{.code = 5}, .times = 1});
  EXPECT_EQ(failure_key([&] { connect(5); }), "error.unacceptable_protocol_version");
}

// While one sensor waits for its subscription, another one's end does not.
TEST_F(misbehaving_broker_test, unsubscribing_does_not_wait_for_somebody_elses_answer) {
  const auto client = connect(60);
  const listener gone("gone");
  client->subscribe(gone.subscription);
  const auto rule = broker_.add({.at = step::suback_sent, .action = fault::hold{}});
  const listener slow("slow");
  auto subscribed = std::async(std::launch::async, [&] { client->subscribe(slow.subscription); });
  ASSERT_TRUE(broker_.wait_for_fault(rule));
  const auto began = std::chrono::steady_clock::now();
  client->unsubscribe(gone.subscription);
  EXPECT_LT(std::chrono::steady_clock::now() - began, 2s);
  broker_.release(rule);
  subscribed.get();
  const listener next("next");  // whoever has the turn next also ends what was left behind
  client->subscribe(next.subscription);
  client->unsubscribe(next.subscription);
  EXPECT_TRUE(broker_.wait_for([&] { return broker_.subscriptions().size() == 1; }));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
