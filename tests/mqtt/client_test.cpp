// The client at brokers good and bad: connecting, subscribing, publishing, leaving.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "helpers/mosquitto_broker.hpp"
#include "helpers/publisher.hpp"
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

class client_test : public testing::Test, protected client_fixture {
 protected:
  kavu_test::mosquitto_broker broker_;
};

TEST_F(client_test, comes_under_a_name_of_its_own_and_leaves_properly) {
  auto client = make(settings_for(broker_.port()));
  const auto id = client->client_id();
  EXPECT_THAT(id, testing::MatchesRegex("TRAVO_[0-9a-zA-Z]{5}"));
  EXPECT_TRUE(broker_.wait_for_clients(1, id));
  EXPECT_TRUE(logged("Connected to: tcp://127.0.0.1:" + std::to_string(broker_.port()) +
                     " - MQTT Version: 4"));
  EXPECT_FALSE(logged(" - MQTT Version: 4 ("));
  const listener all("a/#");
  client->subscribe(all.subscription);
  client.reset();
  for (const char* line :
       {"Unsubscribe from 'a/#'", "Deleted subscription for 'a/#'", "Unsubscribed topic 'a/#'"}) {
    EXPECT_TRUE(logged(line)) << line;
  }
  EXPECT_TRUE(broker_.wait_for_clients(0));
  EXPECT_TRUE(eventually([&] { return broker_.log_contains("Received DISCONNECT from " + id); }));
}

// Left alone, the library takes 2.1 s for a second connection while the first one is silent.
TEST_F(client_test, an_idle_client_does_not_slow_down_the_next_one) {
  const auto idle = make(settings_for(broker_.port()));
  for (int i = 0; i < 3; ++i) {
    EXPECT_LT(make(settings_for(broker_.port()))->connect_duration_ms(), 900);
  }
}

TEST_F(client_test, the_brokers_subscription_lives_as_long_as_any_of_ours) {
  const auto client = make(settings_for(broker_.port()));
  const listener first("a/b");
  const listener second("a/b");
  client->subscribe(first.subscription);
  client->subscribe(second.subscription);
  EXPECT_EQ(client->subscription_count(), 1U);
  EXPECT_TRUE(broker_.wait_for_subscription("a/b"));
  client->unsubscribe(first.subscription);
  kavu_test::publisher(broker_.port()).publish("a/b", "x");
  EXPECT_TRUE(second.messages->wait_for(1));
  EXPECT_EQ(first.messages->count, 0U);
  client->unsubscribe(second.subscription);
  EXPECT_TRUE(eventually([&] { return broker_.subscriptions().empty(); }));
  EXPECT_TRUE(client->is_connected());
}

TEST_F(client_test, a_subscription_that_was_merely_dropped_is_ended_at_the_broker_later) {
  const auto client = make(settings_for(broker_.port()));
  auto dropped = std::make_unique<listener>("a/b");
  client->subscribe(dropped->subscription);
  dropped.reset();
  kavu_test::publisher(broker_.port()).publish("a/b", "x");
  EXPECT_TRUE(
      eventually([&] { return logged("Found weak pointer without reference for topic: a/b"); }));
  const listener other("c");
  client->subscribe(other.subscription);
  client->unsubscribe(other.subscription);
  EXPECT_TRUE(eventually([&] { return broker_.subscriptions().empty(); }));
}

TEST_F(client_test, operations_return_as_soon_as_the_broker_has_answered) {
  const auto client = make(settings_for(broker_.port()));
  const auto began = std::chrono::steady_clock::now();
  std::vector<listener> listeners;
  for (int i = 0; i < 100; ++i) {
    listeners.emplace_back("a/" + std::to_string(i));
    client->subscribe(listeners.back().subscription);
    client->publish("b", "x", quality_of_service::at_least_once, false);
  }
  // 200 of the library's own waits would take 20 s.
  EXPECT_LT(std::chrono::steady_clock::now() - began, 10s);
}

TEST_F(client_test, what_mqtt_cannot_carry_never_reaches_the_shared_connection) {
  const auto client = make(settings_for(broker_.port()));
  const std::string topic = "a\x02";
  const listener bad(topic);
  EXPECT_THAT(failure_key([&] { client->subscribe(bad.subscription); }),
              StartsWith("#:error.invalid_topic"));
  EXPECT_THAT(
      failure_key([&] { client->publish(topic, "x", quality_of_service::at_least_once, false); }),
      StartsWith("#:error.invalid_topic"));
  EXPECT_EQ(client->subscription_count(), 0U);
  EXPECT_TRUE(client->is_connected());
  EXPECT_EQ(broker_.connections_accepted("TRAVO_"), 1U);
}

TEST_F(client_test, every_attached_log_gets_its_lines) {
  const auto client = make(settings_for(broker_.port()));
  const auto brief = std::make_shared<liblog::memory_logger>();
  const auto publish = [&] {
    lines->clear();
    client->publish("a", "x", quality_of_service::at_least_once, false);
  };
  client->add_logger(brief, 5);
  client->add_logger(nullptr, 7);
  publish();
  EXPECT_TRUE(logged("MQTT Client - " + client->client_id() + ": Publish message on: 'a'"));
  EXPECT_TRUE(brief->entries().empty());
  client->remove_logger(lines);
  client->remove_logger(nullptr);
  publish();
  EXPECT_TRUE(lines->entries().empty());
}

// A broker that refuses, does not answer, or speaks an older protocol.
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
  // Who has taken the newer one is merely coming back.
  const auto closed =
      broker_.add({.at = step::connect_received, .action = fault::close{}, .times = 1});
  broker_.drop();
  EXPECT_TRUE(broker_.wait_for([&] { return broker_.count(step::connack_sent) == 3; }));
  EXPECT_EQ(broker_.applied(closed), 1U);
  EXPECT_EQ(broker_.packets(step::connect_received).back().packet.protocol_level, 4);

  broker_.add({.at = step::connect_received, .action = fault::refuse{.code = 1}, .times = 1});
  broker_.add({.at = step::connect_received, .action = fault::refuse{.code = 5}, .times = 1});
  EXPECT_EQ(failure_key([&] { connect(5); }), "error.unacceptable_protocol_version");
}

// One late answer must not make every later one pass for missing.
TEST_F(misbehaving_broker_test, a_broker_that_answers_again_is_waited_for_again) {
  const auto client = connect();
  const std::vector<listener> listeners{listener("a"), listener("b"), listener("c"), listener("d")};
  for (const auto& each : listeners) {
    client->subscribe(each.subscription);
  }
  const auto rule = broker_.add({.at = step::unsuback_sent, .action = fault::hold{}});
  client->unsubscribe(listeners[0].subscription);
  client->unsubscribe(listeners[1].subscription);  // nobody waits, so nobody has waited in vain
  broker_.release(rule);
  ASSERT_TRUE(broker_.wait_for_count(step::unsuback_sent, 2));
  client->expect_arrival();  // by when the library has read them
  client->unsubscribe(listeners[2].subscription);
  const std::string missing = "The broker did not answer the end of the subscription to ";
  EXPECT_TRUE(logged(missing + "'a'"));
  EXPECT_FALSE(logged(missing + "'b'"));
  EXPECT_FALSE(logged(missing + "'c'"));
  EXPECT_TRUE(logged("Unsubscribed topic 'c'"));

  const auto again = broker_.add({.at = step::unsuback_sent, .action = fault::withhold{}});
  client->unsubscribe(listeners[3].subscription);
  EXPECT_TRUE(logged(missing + "'d'"));
  broker_.release(again);
}

// Some brokers that let everybody in refuse an empty user name.
TEST_F(misbehaving_broker_test, credentials_are_sent_only_where_there_are_some) {
  struct {
    const char* user_name;
    const char* password;
    int flags;
  } const cases[] = {
      {"", "", 0x02}, {"anna", "", 0x82}, {"anna", "secret", 0xc2}, {"", "secret", 0xc2}};
  for (const auto& each : cases) {
    broker_.forget_packets();
    auto settings = settings_for(broker_.port());
    settings.user_name = each.user_name;
    settings.password = libkavuhelper::settings::secure_string(each.password);
    EXPECT_TRUE(make(settings)->is_connected());
    EXPECT_EQ(broker_.packets(step::connect_received).back().packet.connect_flags, each.flags);
  }
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
