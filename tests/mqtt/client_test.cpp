// The client on a real broker: connecting, subscribing, publishing, leaving.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "helpers/mosquitto_broker.hpp"
#include "helpers/observer.hpp"
#include "helpers/publisher.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::eventually;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

std::ptrdiff_t open_descriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

class client_test : public testing::Test, protected client_fixture {
 protected:
  kavu_test::mosquitto_broker broker_;
};

TEST_F(client_test, connects_under_an_identifier_with_random_characters) {
  const auto client = make(settings_for(broker_.port()));
  EXPECT_TRUE(client->is_connected());
  EXPECT_GE(client->connect_duration_ms(), 0);
  EXPECT_THAT(client->client_id(), testing::MatchesRegex("TRAVO_[0-9a-zA-Z]{5}"));
  EXPECT_TRUE(broker_.wait_for_clients(1, client->client_id()));
  EXPECT_EQ(client->active_client_count(), 1U);
  EXPECT_TRUE(logged("Connected to: tcp://127.0.0.1:" + std::to_string(broker_.port()) +
                     " - MQTT Version: 4"));
}

// Left alone, the library takes 2.1 s for a second connection while the first one is silent.
TEST_F(client_test, an_idle_client_does_not_slow_down_the_next_one) {
  const auto idle = make(settings_for(broker_.port()));
  for (int i = 0; i < 3; ++i) {
    EXPECT_LT(make(settings_for(broker_.port()))->connect_duration_ms(), 900);
  }
}

TEST_F(client_test, leaves_properly) {
  auto client = make(settings_for(broker_.port()));
  const listener all("a/#");
  client->subscribe(all.subscription);
  const auto id = client->client_id();
  client.reset();
  EXPECT_TRUE(broker_.wait_for_clients(0));
  EXPECT_TRUE(eventually([&] { return broker_.log_contains("Received DISCONNECT from " + id); }));
  EXPECT_TRUE(logged("Disconnect from broker."));
}

TEST_F(client_test, a_message_arrives_as_it_was_sent) {
  const auto client = make(settings_for(broker_.port()));
  const listener all("a/#");
  client->subscribe(all.subscription);
  const std::string payload("\0\xff any bytes\0", 13);
  client->publish("a/b", payload, quality_of_service::exactly_once, false);
  client->publish("a/c", "", quality_of_service::at_most_once, false);
  ASSERT_TRUE(all.messages->wait_for(2));
  EXPECT_EQ(all.messages->messages()[0].topic, "a/b");
  EXPECT_EQ(all.messages->messages()[0].payload, payload);
  EXPECT_FALSE(all.messages->messages()[0].retained);
  EXPECT_EQ(all.messages->messages()[1].payload, "");
}

TEST_F(client_test, a_retained_message_comes_with_the_subscription) {
  kavu_test::publisher(broker_.port()).publish("a/b", "old", 1, true);
  const auto client = make(settings_for(broker_.port()));
  const listener all("a/b");
  client->subscribe(all.subscription);
  ASSERT_TRUE(all.messages->wait_for(1));
  EXPECT_TRUE(all.messages->messages()[0].retained);
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
  EXPECT_EQ(first.messages->count(), 0U);
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
  for (const std::string& filter : {std::string(), std::string(65'536, 'x'), std::string("\xff"),
                                    std::string("a\0b", 3), std::string("a\x02")}) {
    const listener bad(filter);
    EXPECT_THAT(failure_key([&] { client->subscribe(bad.subscription); }),
                StartsWith("#:error.invalid_topic"));
    EXPECT_THAT(failure_key([&] {
                  client->publish(filter, "x", quality_of_service::at_least_once, false);
                }),
                StartsWith("#:error.invalid_topic"));
  }
  EXPECT_EQ(client->subscription_count(), 0U);
  EXPECT_TRUE(client->is_connected());
  EXPECT_EQ(broker_.connections_accepted("TRAVO_"), 1U);
}

TEST_F(client_test, the_longest_topic_arrives) {
  const auto client = make(settings_for(broker_.port()));
  const listener all("#");
  client->subscribe(all.subscription);
  // mosquitto allows 200 levels.
  client->publish(std::string(65'535, 'x'), "y", quality_of_service::at_least_once, false);
  ASSERT_TRUE(all.messages->wait_for(1));
  EXPECT_EQ(all.messages->messages()[0].topic.size(), 65'535U);
}

TEST_F(client_test, every_attached_log_gets_its_lines) {
  auto settings = settings_for(broker_.port());
  const auto client = make(settings);
  const auto brief = std::make_shared<liblog::memory_logger>();
  client->add_logger(brief, 5);
  client->publish("a", "x", quality_of_service::at_least_once, false);
  EXPECT_TRUE(logged("MQTT Client - " + client->client_id() + ": Publish message on: 'a'"));
  EXPECT_TRUE(brief->entries().empty());
  client->remove_logger(lines);
  lines->clear();
  client->publish("a", "x", quality_of_service::at_least_once, false);
  EXPECT_TRUE(lines->entries().empty());
  client->add_logger(nullptr, 7);
  client->remove_logger(nullptr);
}

TEST_F(client_test, a_client_leaves_no_thread_and_no_descriptor) {
  { const auto warm_up = make(persistent_settings_for(broker_.port())); }
  const auto before = open_descriptors();
  for (int i = 0; i < 20; ++i) {
    const auto client = make(persistent_settings_for(broker_.port()));
    const listener all("#");
    client->subscribe(all.subscription);
  }
  EXPECT_TRUE(eventually([&] { return open_descriptors() <= before; }));
}

TEST(client_connecting, failures_are_told_apart) {
  client_fixture fixture;
  kavu_test::mosquitto_broker broker({.allow_anonymous = false, .users = {{"me", "right"}}});
  auto settings = fixture.settings_for(broker.port());
  settings.user_name = "me";
  settings.password = libkavuhelper::settings::secure_string("wrong");
  EXPECT_THAT(failure_key([&] { fixture.make(settings); }),
              testing::AnyOf("error.bad_username_or_password", "error.not_authorized"));
  EXPECT_TRUE(fixture.logged("Initial connection attempt failed: The sensor could not establish"));

  settings.password = libkavuhelper::settings::secure_string("right");
  EXPECT_EQ(failure_key([&] { fixture.make(settings); }), "");

  broker.stop();
  EXPECT_EQ(failure_key([&] { fixture.make(settings); }), "error.tcp_tls_connect_failure");

  settings.host = "no-such-host.invalid";
  EXPECT_THAT(failure_key([&] { fixture.make(settings); }), HasSubstr("no-such-host.invalid"));

  settings.host = std::string("127.0.0.1\0x", 11);
  EXPECT_NE(failure_key([&] { fixture.make(settings); }), "");
  for (const auto& entry : fixture.lines->entries()) {
    EXPECT_THAT(entry.message, testing::Not(HasSubstr("wrong")));
  }
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
