// Brokers that come and go, and the client that stays.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

#include "helpers/mosquitto_broker.hpp"
#include "helpers/publisher.hpp"
#include "helpers/scripted_broker.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::eventually;
using kavu_test::fault_rule;
using kavu_test::step;
namespace fault = kavu_test::fault;
using namespace std::chrono_literals;

bool has_ipv6() {
  const int socket = ::socket(AF_INET6, SOCK_STREAM, 0);
  const sockaddr_in6 address{.sin6_family = AF_INET6,
                             .sin6_port = 0,
                             .sin6_flowinfo = 0,
                             .sin6_addr = IN6ADDR_LOOPBACK_INIT,
                             .sin6_scope_id = 0};
  const bool has =
      socket >= 0 && bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(socket);
  return has;
}

class client_reconnect_test : public testing::Test, protected client_fixture {};

bool is_subscribed(mqtt_client_interface& client, const std::string& filter) {
  return failure_key([&] { client.require_subscribed(filter); }).empty();
}

TEST_F(client_reconnect_test, a_restarted_broker_is_found_and_every_filter_renewed) {
  kavu_test::mosquitto_broker broker;
  const auto client = make(persistent_settings_for(broker.port()));
  std::vector<listener> listeners;
  for (int i = 0; i < 250; ++i) {
    listeners.emplace_back("a/" + std::to_string(i));
    client->subscribe(listeners.back().subscription);
  }
  broker.kill();
  ASSERT_TRUE(eventually([&] { return !client->is_connected(); }));
  EXPECT_EQ(failure_key([&] { client->require_subscribed("a/0"); }), "error.connection_lost");
  broker.stop();
  ASSERT_TRUE(eventually([&] { return !client->is_connected(); }));
  broker.restart();
  for (const auto& each : listeners) {
    ASSERT_TRUE(eventually([&] { return is_subscribed(*client, each.subscription->topic()); }));
  }
  kavu_test::publisher publisher(broker.port());
  for (const auto& each : listeners) {
    publisher.publish(each.subscription->topic(), "x");
  }
  for (const auto& each : listeners) {
    EXPECT_TRUE(each.messages->wait_for(1));
  }
}

TEST_F(client_reconnect_test, a_broker_that_is_not_there_yet_is_waited_for) {
  kavu_test::mosquitto_broker broker;
  broker.stop();
  const auto client = make(persistent_settings_for(broker.port()));
  EXPECT_FALSE(client->is_connected());
  EXPECT_TRUE(logged("Connection attempt failed: TCP/TLS connect failure"));
  const listener all("#");
  client->subscribe(all.subscription);
  EXPECT_EQ(failure_key([&] { client->require_subscribed("#"); }), "error.connection_lost");
  broker.restart();
  ASSERT_TRUE(eventually([&] { return is_subscribed(*client, "#"); }));
  EXPECT_EQ(client->connect_duration_ms(), -1);
  kavu_test::publisher(broker.port()).publish("a", "x");
  EXPECT_TRUE(all.messages->wait_for(1));
}

TEST_F(client_reconnect_test, without_reconnecting_a_lost_connection_stays_lost) {
  kavu_test::scripted_broker broker;
  const auto client = make(settings_for(broker.port()));
  broker.drop();
  ASSERT_TRUE(eventually([&] { return !client->is_connected(); }));
  EXPECT_EQ(
      failure_key([&] { client->publish("a", "x", quality_of_service::at_least_once, false); }),
      "error.could_not_publish_not_connected");
  EXPECT_EQ(broker.count(step::connect_received), 1U);
}

TEST_F(client_reconnect_test, ends_at_once_while_it_waits_for_its_next_attempt) {
  kavu_test::mosquitto_broker broker;
  broker.stop();
  auto client = make(persistent_settings_for(broker.port()));
  // Into the pause of two seconds.
  ASSERT_TRUE(eventually([&] { return count_logged("Connection attempt failed") >= 2; }));
  const auto began = std::chrono::steady_clock::now();
  client.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - began, 1s);
}

// The broker drops the connection again right when the subscriptions are being renewed.
TEST_F(client_reconnect_test, a_loss_during_the_renewal_is_not_the_end) {
  kavu_test::scripted_broker broker;
  const auto client = make(persistent_settings_for(broker.port()));
  const listener all("a/#");
  client->subscribe(all.subscription);
  broker.add({.at = step::subscribe_received, .action = fault::close{}, .times = 2});
  broker.drop();
  // The first, the one after the drop, and one after each loss while renewing.
  EXPECT_TRUE(broker.wait_for_count(step::connect_received, 4));
  EXPECT_TRUE(eventually([&] { return is_subscribed(*client, "a/#"); }));
  broker.publish("a/b", "x");
  EXPECT_TRUE(all.messages->wait_for(1));
}

// The connection goes again right after it has come back, with nothing to renew on it.
TEST_F(client_reconnect_test, a_loss_right_after_the_return_is_not_overlooked) {
  kavu_test::scripted_broker broker;
  const auto client = make(persistent_settings_for(broker.port()));
  broker.add({.at = step::connack_sent, .action = fault::close_after{.reset = true}, .times = 3});
  broker.drop();
  EXPECT_TRUE(broker.wait_for_count(step::connect_received, 5));
  EXPECT_TRUE(eventually([&] { return client->is_connected(); }));
}

TEST_F(client_reconnect_test, a_refused_renewal_is_told_and_tried_again) {
  kavu_test::scripted_broker broker;
  const auto client = make(persistent_settings_for(broker.port()));
  const listener refused("secret/#");
  const listener open("open/#");
  client->subscribe(refused.subscription);
  client->subscribe(open.subscription);
  const auto rule =
      broker.add({.at = step::subscribe_received, .action = fault::refuse{}, .topic = "secret/#"});
  broker.drop();
  ASSERT_TRUE(broker.wait_for_fault(rule));
  ASSERT_TRUE(eventually([&] { return is_subscribed(*client, "open/#"); }));
  EXPECT_TRUE(eventually([&] {
    return failure_key([&] {
             client->require_subscribed("secret/#");
           }).find("The broker refused the subscription") != std::string::npos;
  }));
  broker.release(rule);
  EXPECT_TRUE(eventually([&] { return is_subscribed(*client, "secret/#"); }));
  EXPECT_EQ(broker.count(step::connect_received), 2U);
}

// The third refusal is followed by five seconds before the filter is asked for again.
TEST_F(client_reconnect_test, a_refused_filter_does_not_keep_the_others_from_coming_back) {
  kavu_test::scripted_broker broker;
  const auto client = make(persistent_settings_for(broker.port()));
  const listener refused("secret/#");
  const listener open("open/#");
  client->subscribe(refused.subscription);
  client->subscribe(open.subscription);
  const auto rule =
      broker.add({.at = step::subscribe_received, .action = fault::refuse{}, .topic = "secret/#"});
  broker.drop();
  ASSERT_TRUE(broker.wait_for_fault(rule, 3));
  broker.drop();
  ASSERT_TRUE(eventually([&] { return !client->is_connected(); }));
  EXPECT_TRUE(eventually([&] { return is_subscribed(*client, "open/#"); }, 3s));
}

TEST_F(client_reconnect_test, a_filter_that_costs_the_connection_does_not_starve_the_others) {
  kavu_test::scripted_broker broker;
  broker.stop_listening();
  const auto client = make(persistent_settings_for(broker.port()));
  const listener forbidden("secret/#");
  const listener open("open/#");
  client->subscribe(forbidden.subscription);
  client->subscribe(open.subscription);
  broker.add({.at = step::subscribe_received, .action = fault::close{}, .topic = "secret/#"});
  broker.start_listening();
  const auto told = [&] {
    return failure_key([&] {
             client->require_subscribed("secret/#");
           }).find("ended the connection each time") != std::string::npos;
  };
  EXPECT_TRUE(eventually([&] { return told() && is_subscribed(*client, "open/#"); }));
  const auto connections = broker.count(step::connect_received);
  broker.publish("open/a", "x");
  EXPECT_TRUE(open.messages->wait_for(1));
  EXPECT_TRUE(told());
  EXPECT_EQ(broker.count(step::connect_received), connections);
}

// The name has an address of each kind; somebody listens on the one or the other.
TEST_F(client_reconnect_test, every_address_of_a_name_is_tried) {
  if (!has_ipv6()) {
    GTEST_SKIP() << "no IPv6 here";
  }
  kavu_test::mosquitto_broker broker;
  auto settings = persistent_settings_for(broker.port());
  settings.host = "localhost";
  const auto client = make(settings);
  EXPECT_TRUE(logged("Connected to: tcp://127.0.0.1:"));
  broker.restart({.addresses = {"::1"}});
  ASSERT_TRUE(
      eventually([&] { return client->is_connected() && logged("Connected to: tcp://[::1]:"); }));
  EXPECT_TRUE(make(settings)->is_connected());
}

// Losses, failed attempts and returns meet the destructor in every order; nothing of what is gone
// may be touched. The sanitizers judge.
TEST_F(client_reconnect_test, what_the_library_tells_while_a_client_ends_finds_nobody) {
  kavu_test::scripted_broker broker;
  broker.add({.at = step::connack_sent, .action = fault::close_after{.reset = true}});
  for (int round = 0; round < 60; ++round) {
    const auto client = make(persistent_settings_for(broker.port()));
    const listener all("#");
    failure_key([&] { client->subscribe(all.subscription); });
  }
  EXPECT_GE(broker.count(step::connect_received), 60U);
  EXPECT_TRUE(broker.wait_for([&] { return broker.open_connections() == 0; }));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
