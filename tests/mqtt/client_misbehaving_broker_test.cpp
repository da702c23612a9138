// A broker that refuses, does not answer, or leaves in the middle.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "helpers/scripted_broker.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::eventually;
using kavu_test::step;
namespace fault = kavu_test::fault;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

class misbehaving_broker_test : public testing::Test, protected client_fixture {
 protected:
  std::unique_ptr<mqtt_client_paho> connect(std::int64_t time_out = 1) {
    auto settings = settings_for(broker_.port());
    settings.connect_timeout = time_out;
    return make(settings);
  }
  std::string subscribe_failure(mqtt_client_interface& client) {
    const listener any("a/b");
    return failure_key([&] { client.subscribe(any.subscription); });
  }

  kavu_test::scripted_broker broker_;
};

TEST_F(misbehaving_broker_test, a_refused_subscription_is_a_failure_and_leaves_nothing) {
  const auto client = connect();
  for (const std::uint8_t code :
       std::initializer_list<std::uint8_t>{0x80, 0x8f}) {  // the second as MQTT 5 would put it
    const auto rule =
        broker_.add({.at = step::subscribe_received, .action = fault::refuse{.code = code}});
    EXPECT_THAT(subscribe_failure(*client), HasSubstr("The broker refused the subscription"));
    EXPECT_EQ(client->subscription_count(), 0U);
    broker_.release(rule);
  }
}

TEST_F(misbehaving_broker_test, an_unanswered_subscription_fails_within_the_time_out) {
  const auto client = connect();
  broker_.add({.at = step::suback_sent, .action = fault::withhold{}});
  const auto began = std::chrono::steady_clock::now();
  EXPECT_THAT(subscribe_failure(*client), StartsWith("#:error.timeout"));
  EXPECT_LT(std::chrono::steady_clock::now() - began, 3s);
  EXPECT_EQ(client->subscription_count(), 0U);
}

TEST_F(misbehaving_broker_test, a_connection_that_dies_ends_the_operation) {
  broker_.add({.at = step::subscribe_received, .action = fault::close{}});
  broker_.add({.at = step::publish_received, .action = fault::close{}});
  auto client = connect(30);
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(subscribe_failure(*client), "error.mqttasync_disconnected");
  client = connect(30);
  EXPECT_EQ(
      failure_key([&] { client->publish("a", "x", quality_of_service::at_least_once, false); }),
      "error.mqttasync_disconnected");
  EXPECT_LT(std::chrono::steady_clock::now() - began, 5s);
}

TEST_F(misbehaving_broker_test, a_publish_waits_for_its_acknowledgement_and_says_so) {
  const auto client = connect();
  const auto rule = broker_.add({.at = step::puback_sent, .action = fault::hold{}});
  auto published = std::async(std::launch::async, [&] {
    client->publish("a", "x", quality_of_service::at_least_once, false);
  });
  EXPECT_TRUE(eventually([&] { return logged("Waiting for async complete of token: "); }));
  EXPECT_EQ(published.wait_for(0s), std::future_status::timeout);
  broker_.release(rule);
  EXPECT_NO_THROW(published.get());
}

TEST_F(misbehaving_broker_test, a_broker_that_says_nothing_fails_the_connection_in_time) {
  broker_.add({.at = step::connack_sent, .action = fault::withhold{}});
  const auto began = std::chrono::steady_clock::now();
  EXPECT_THROW(connect(1), exceptions::client_failure);
  EXPECT_LT(std::chrono::steady_clock::now() - began, 4s);
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

TEST_F(misbehaving_broker_test, a_client_ends_in_time_on_a_broker_that_has_stopped_answering) {
  auto client = connect(60);
  std::vector<listener> listeners;
  for (int i = 0; i < 20; ++i) {
    listeners.emplace_back("a/" + std::to_string(i));
    client->subscribe(listeners.back().subscription);
  }
  broker_.pause();
  const auto began = std::chrono::steady_clock::now();
  for (int i = 0; i < 10; ++i) {  // as sensors do; the rest is left to the client
    client->unsubscribe(listeners[static_cast<std::size_t>(i)].subscription);
  }
  client.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - began, 2500ms);
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
  EXPECT_TRUE(broker_.wait_for([&] {
    for (const auto& each : broker_.subscriptions()) {
      if (each.filter == "gone") {
        return false;
      }
    }
    return true;
  }));
}

// Messages keep coming while subscriptions end; nothing of what is gone may be touched. The
// sanitizers judge.
TEST_F(misbehaving_broker_test, a_message_in_flight_outlives_its_subscription) {
  const auto client = connect(10);
  std::atomic<bool> enough{false};
  std::thread flood([&] {
    while (!enough) {
      broker_.publish("a/b", "x", 0);
    }
  });
  std::size_t received = 0;
  for (int i = 0; i < 1000; ++i) {
    const listener brief("a/b");
    client->subscribe(brief.subscription);
    if (i % 10 == 0) {
      brief.messages->wait_for(1);
    }
    client->unsubscribe(brief.subscription);
    received += brief.messages->count();
  }
  enough = true;
  flood.join();
  EXPECT_GT(received, 100U);
}

TEST_F(misbehaving_broker_test, a_message_in_flight_outlives_its_client) {
  std::atomic<bool> enough{false};
  std::thread flood([&] {
    while (!enough) {
      broker_.publish("a/b", "x", 0);
    }
  });
  for (int i = 0; i < 50; ++i) {
    const auto client = connect(10);
    const listener brief("a/b");
    client->subscribe(brief.subscription);
    brief.messages->wait_for(1);
  }
  enough = true;
  flood.join();
  EXPECT_TRUE(broker_.wait_for_clients(0));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
