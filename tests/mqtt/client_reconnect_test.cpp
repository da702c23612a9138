// Brokers that come and go, and the client that stays.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <vector>

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
  std::ifstream addresses("/proc/net/if_inet6");
  return std::find(std::istream_iterator<std::string>(addresses), {}, std::string(31, '0') + "1") !=
         std::istream_iterator<std::string>();
}

class client_reconnect_test : public testing::Test, protected client_fixture {};

bool is_subscribed(mqtt_client_interface& client, const std::string& filter) {
  return failure_key([&] { client.require_subscribed(filter); }).empty();
}

/// The sockets of this process that are connected, and not with a broker.
std::vector<int> sockets_beside(std::uint16_t broker) {
  std::vector<int> found;
  for (int socket = 3; socket < 200; ++socket) {
    sockaddr_in ends[2]{};
    socklen_t lengths[2] = {sizeof ends[0], sizeof ends[1]};
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&ends[0]), &lengths[0]) == 0 &&
        getpeername(socket, reinterpret_cast<sockaddr*>(&ends[1]), &lengths[1]) == 0 &&
        ends[0].sin_family == AF_INET && ntohs(ends[0].sin_port) != broker &&
        ntohs(ends[1].sin_port) != broker) {
      found.push_back(socket);
    }
  }
  return found;
}

// Without it the library would notice the broker's answers a second late, for good.
TEST_F(client_reconnect_test, the_connection_that_wakes_the_library_is_replaced) {
  kavu_test::scripted_broker broker;
  const auto client = make(persistent_settings_for(broker.port()));
  const auto before = sockets_beside(broker.port());
  ASSERT_EQ(before.size(), 2U);  // both its ends
  for (const int socket : before) {
    shutdown(socket, SHUT_RDWR);
  }
  ASSERT_TRUE(eventually([&] { return sockets_beside(broker.port()).empty(); }));
  broker.drop();
  EXPECT_TRUE(eventually([&] { return sockets_beside(broker.port()).size() == 2; }));
  EXPECT_TRUE(eventually([&] { return client->is_connected(); }));
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
  lines->clear();
  broker.restart();
  for (const auto& each : listeners) {
    ASSERT_TRUE(eventually([&] { return is_subscribed(*client, each.subscription->topic()); }));
  }
  EXPECT_TRUE(eventually([&] { return logged("Registered subscription to 'a/249'"); }));
  kavu_test::publisher publisher(broker.port());
  for (const auto& each : listeners) {
    publisher.publish(each.subscription->topic(), "x");
  }
  for (const auto& each : listeners) {
    EXPECT_TRUE(each.messages->wait_for(1));
  }
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

// The broker drops the connection again while the subscriptions are being renewed, or as soon as it
// is back.
TEST_F(client_reconnect_test, a_loss_right_after_another_is_not_the_end) {
  for (const auto& rule :
       {fault_rule{.at = step::subscribe_received, .action = fault::close{}, .times = 2},
        fault_rule{
            .at = step::connack_sent, .action = fault::close_after{.reset = true}, .times = 3}}) {
    kavu_test::scripted_broker broker;
    const auto client = make(persistent_settings_for(broker.port()));
    const listener all("a/#");
    client->subscribe(all.subscription);
    broker.add(rule);
    broker.drop();
    EXPECT_TRUE(broker.wait_for_count(step::connect_received, 2 + rule.times));
    EXPECT_TRUE(eventually([&] { return is_subscribed(*client, "a/#"); }));
    broker.publish("a/b", "x");
    EXPECT_TRUE(all.messages->wait_for(1));
  }
}

/// A client with a filter that the broker does not like beside one that it does.
class two_filters_test : public client_reconnect_test {
 protected:
  two_filters_test() {
    client->subscribe(bad.subscription);
    client->subscribe(good.subscription);
  }
  bool told(const std::string& words) {
    const auto key = failure_key([&] { client->require_subscribed("secret/#"); });
    return key.find(words) != std::string::npos;
  }

  kavu_test::scripted_broker broker;
  std::unique_ptr<mqtt_client_paho> client = make(persistent_settings_for(broker.port()));
  listener bad{"secret/#"};
  listener good{"open/#"};
};

// The third refusal is followed by five seconds before the filter is asked for again.
TEST_F(two_filters_test, a_refused_one_is_tried_again_and_does_not_hold_the_other_up) {
  const auto rule =
      broker.add({.at = step::subscribe_received, .action = fault::refuse{}, .topic = "secret/#"});
  broker.drop();
  ASSERT_TRUE(broker.wait_for_fault(rule, 3));
  EXPECT_EQ(broker.count(step::connect_received), 2U);
  EXPECT_TRUE(eventually([&] { return told("The broker refused the subscription"); }));
  broker.drop();
  ASSERT_TRUE(eventually([&] { return !client->is_connected(); }));
  EXPECT_TRUE(eventually([&] { return is_subscribed(*client, "open/#"); }, 3s));
  broker.release(rule);
  EXPECT_TRUE(eventually([&] { return is_subscribed(*client, "secret/#"); }));
}

TEST_F(two_filters_test, one_that_costs_the_connection_does_not_starve_the_other) {
  broker.add({.at = step::subscribe_received, .action = fault::close{}, .topic = "secret/#"});
  broker.drop();
  EXPECT_TRUE(eventually(
      [&] { return told("ended the connection each time") && is_subscribed(*client, "open/#"); }));
  const auto connections = broker.count(step::connect_received);
  broker.publish("open/a", "x");
  EXPECT_TRUE(good.messages->wait_for(1));
  EXPECT_TRUE(told("ended the connection each time"));
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
  EXPECT_TRUE(logged("Connected to: tcp://localhost:"));
  EXPECT_TRUE(logged(" - MQTT Version: 4 (127.0.0.1)"));
  lines->clear();
  broker.restart({.addresses = {"::1"}});
  ASSERT_TRUE(
      eventually([&] { return client->is_connected() && logged(" - MQTT Version: 4 (::1)"); }));
  EXPECT_TRUE(logged("Return code = 0 in method MQTTAsync_connect()"));
  EXPECT_TRUE(make(settings)->is_connected());
  settings.family = address_family::ipv4;
  EXPECT_FALSE(make(settings)->is_connected());
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
