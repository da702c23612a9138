#include "helpers/scripted_broker.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "helpers/observer.hpp"

namespace kavu_test {
namespace {

using testing::ElementsAre;

constexpr std::chrono::milliseconds short_time{50};

TEST(scripted_broker, passes_messages_in_every_quality_of_service) {
  scripted_broker broker;
  mqtt_peer out(broker.port());
  for (const int publish_qos : {0, 1, 2}) {
    for (const int subscribe_qos : {0, 1, 2}) {
      observer in(broker.port(), "plant/#", 0);
      EXPECT_EQ(in.subscribe("plant/+/#", subscribe_qos), subscribe_qos);
      for (int i = 0; i < 20; ++i) {
        out.publish("plant/a/" + std::to_string(i), std::to_string(i), publish_qos);
        out.publish("elsewhere/a", "", publish_qos);
      }
      ASSERT_TRUE(in.wait_for_messages(20));
      EXPECT_EQ(in.messages().back().payload, "19");
      EXPECT_EQ(in.messages().back().qos, std::min(publish_qos, subscribe_qos));
      EXPECT_EQ(in.message_count(), 20U);
    }
  }
  const std::string large(30'000'000, 'p');
  observer in(broker.port(), "#");
  out.publish(std::string(65'535, 't'), large, 2);
  ASSERT_TRUE(in.wait_for_messages(1));
  EXPECT_EQ(in.messages()[0].payload, large);
}

TEST(scripted_broker, keeps_retained_messages_and_can_send_them_early) {
  scripted_broker broker;
  mqtt_peer out(broker.port());
  out.publish("a/1", "kept", 1, true);
  out.publish("a/2", "removed", 1, true);
  out.clear_retained("a/2");
  for (const bool early : {false, true}) {
    broker.deliver_retained_before_suback(early);
    broker.forget_packets();
    observer in(broker.port(), "a/#");
    ASSERT_TRUE(in.wait_for_messages(1));
    EXPECT_TRUE(in.messages()[0].retain);
    EXPECT_EQ(in.messages()[0].payload, "kept");
    EXPECT_EQ(broker.packets(step::publish_sent).at(0).time <
                  broker.packets(step::suback_sent).at(0).time,
              early);
  }
}

TEST(scripted_broker, spoils_what_a_rule_says_and_as_often) {
  scripted_broker broker;
  const auto refused =
      broker.add({.at = step::connect_received, .action = fault::refuse{5}, .times = 1});
  broker.add({.at = step::subscribe_received, .action = fault::refuse{}, .topic = "secret/*"});
  EXPECT_THROW(mqtt_peer(broker.port()), std::runtime_error);
  EXPECT_EQ(broker.applied(refused), 1U);
  mqtt_peer in(broker.port());
  EXPECT_EQ(in.subscribe("secret/#"), 128);
  EXPECT_EQ(in.subscribe("t", 1), 1);
  EXPECT_THAT(broker.subscriptions(), ElementsAre(broker_subscription{"", "t", 1}));

  for (const auto& action : {fault_action(fault::corrupt{}), fault_action(fault::hold{}),
                             fault_action(fault::repeat{2})}) {
    broker.add({.at = step::publish_sent, .action = action, .times = 1});
  }
  for (const char* text : {"text", "held", "thrice"}) {
    broker.publish("t", text);
  }
  ASSERT_TRUE(in.wait_for_messages(4));
  broker.release_all();
  ASSERT_TRUE(in.wait_for_messages(5));
  std::vector<std::string> received;
  for (const auto& message : in.messages()) {
    received.push_back(message.payload);
  }
  EXPECT_THAT(received, ElementsAre("teyt", "thrice", "thrice", "thrice", "held"));
}

TEST(scripted_broker, stands_still_while_it_is_paused) {
  scripted_broker broker;
  mqtt_peer out(broker.port());
  broker.pause();
  EXPECT_THROW(out.publish("t", "x", 1, false, short_time), std::runtime_error);
  EXPECT_EQ(broker.count(step::publish_received), 0U);
  broker.resume();
  EXPECT_TRUE(broker.wait_for_count(step::puback_sent, 1));
  broker.drop("*", true);
  EXPECT_TRUE(broker.wait_for_count(step::connack_sent, 2));
}

}  // namespace
}  // namespace kavu_test
