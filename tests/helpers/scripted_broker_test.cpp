#include "helpers/scripted_broker.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mosquitto.h>

#include <random>
#include <stdexcept>

#include "helpers/observer.hpp"
#include "helpers/publisher.hpp"
#include "helpers/topic_match.hpp"

namespace kavu_test {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

constexpr milliseconds short_time{50};

TEST(scripted_broker, passes_messages_in_every_quality_of_service) {
  scripted_broker broker;
  publisher out(broker.port());
  for (const int publish_qos : {0, 1, 2}) {
    for (const int subscribe_qos : {0, 1, 2}) {
      observer in(broker.port());
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
  EXPECT_TRUE(broker.wait_for_clients(1));
}

TEST(scripted_broker, carries_the_largest_topic_and_a_large_payload) {
  scripted_broker broker;
  observer in(broker.port(), "#");
  const std::string topic(65'535, 't');
  const std::string payload(30'000'000, 'p');
  publisher(broker.port()).publish(topic, payload, 2);
  ASSERT_TRUE(in.wait_for_messages(1));
  EXPECT_EQ(in.messages()[0].topic, topic);
  EXPECT_EQ(in.messages()[0].payload, payload);
  EXPECT_EQ(broker.packets(step::publish_sent).at(0).payload_size, payload.size());
  EXPECT_THROW(broker.publish(topic + "t", ""), std::invalid_argument);
}

TEST(scripted_broker, delivers_many_messages_to_many_clients) {
  scripted_broker broker;
  std::vector<std::unique_ptr<observer>> clients;
  for (int i = 0; i < 10; ++i) {
    clients.push_back(std::make_unique<observer>(broker.port(), "#"));
  }
  std::vector<outgoing_message> messages;
  for (int i = 0; i < 1'000; ++i) {
    messages.push_back({"t/" + std::to_string(i), "x", i % 3});
  }
  publisher(broker.port()).publish_many(messages);
  for (const auto& client : clients) {
    EXPECT_TRUE(client->wait_for_messages(1'000));
  }
}

TEST(scripted_broker, keeps_retained_messages_and_can_send_them_early) {
  scripted_broker broker;
  publisher out(broker.port());
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

TEST(scripted_broker, matches_topics_like_the_client_library) {
  std::mt19937 random(1);
  const auto text = [&](const std::string& alphabet) {
    std::string made(1 + random() % 6, ' ');
    for (auto& character : made) {
      character = alphabet[random() % alphabet.size()];
    }
    return made;
  };
  int compared = 0;
  int matched = 0;
  while (compared < 100'000) {
    const std::string filter = text("ab//+#$");
    const std::string topic = text("ab//$");
    ASSERT_EQ(is_topic_filter(filter),
              mosquitto_sub_topic_check(filter.c_str()) == MOSQ_ERR_SUCCESS)
        << filter;
    bool expected = false;
    if (mosquitto_topic_matches_sub(filter.c_str(), topic.c_str(), &expected) == MOSQ_ERR_SUCCESS &&
        is_topic_filter(filter)) {
      ASSERT_EQ(topic_matches(filter, topic), expected) << filter << " on " << topic;
      ++compared;
      matched += expected;
    }
  }
  EXPECT_GT(matched, 1'000);
}

TEST(scripted_broker, refuses_one_client_and_one_filter) {
  scripted_broker broker;
  broker.add({.at = step::connect_received, .action = fault::refuse{5}, .client = "bad*"});
  broker.add({.at = step::subscribe_received, .action = fault::refuse{}, .topic = "secret/*"});
  EXPECT_THROW(publisher({.port = broker.port(), .client_id = "bad one"}), std::runtime_error);
  observer in({.port = broker.port(), .client_id = "good one"});
  EXPECT_EQ(in.subscribe("secret/#"), 128);
  EXPECT_EQ(in.subscribe("open/#", 1), 1);
  EXPECT_THAT(broker.subscriptions(), ElementsAre(broker_subscription{"good one", "open/#", 1}));
  EXPECT_EQ(broker.count(step::connack_sent, "bad*"), 1U);
}

TEST(scripted_broker, holds_an_answer_until_it_is_released) {
  scripted_broker broker;
  const auto rule = broker.add({.at = step::puback_sent, .action = fault::hold{}, .times = 1});
  publisher out(broker.port());
  EXPECT_THROW(out.publish("t", "x", 1, false, short_time), std::runtime_error);
  EXPECT_EQ(broker.applied(rule), 1U);
  EXPECT_EQ(broker.count(step::puback_sent), 0U);
  broker.release(rule);
  EXPECT_TRUE(broker.wait_for_count(step::puback_sent, 1));
  out.publish("t", "y");
}

TEST(scripted_broker, spoils_what_it_delivers) {
  struct spoiling {
    step at;
    fault_action action;
    std::vector<std::string> received;
  };
  const std::vector<spoiling> cases{
      {step::publish_received, fault::refuse{}, {"end"}},
      {step::publish_sent, fault::withhold{}, {"end"}},
      {step::publish_sent, fault::corrupt{}, {"teyt", "end"}},
      {step::publish_sent, fault::repeat{2}, {"text", "text", "text", "end"}},
      {step::publish_received, fault::repeat{1}, {"text", "text", "end"}},
      {step::publish_sent, fault::replace{std::string("\x30\x05\0\1tab", 7)}, {"ab", "end"}},
  };
  for (const auto& spoiled : cases) {
    scripted_broker broker;
    const auto rule = broker.add({.at = spoiled.at, .action = spoiled.action, .times = 1});
    observer in(broker.port(), "t");
    publisher out(broker.port());
    out.publish("t", "text");
    out.publish("t", "end");
    ASSERT_TRUE(in.wait_for_message([](const auto& m) { return m.payload == "end"; }));
    std::vector<std::string> received;
    for (const auto& message : in.messages()) {
      received.push_back(message.payload);
    }
    EXPECT_EQ(received, spoiled.received) << "action " << spoiled.action.index();
    EXPECT_EQ(broker.applied(rule), 1U);
  }
}

TEST(scripted_broker, delivers_late_while_others_overtake) {
  scripted_broker broker;
  broker.add({.at = step::publish_sent, .action = fault::delay{short_time}, .times = 1});
  observer in(broker.port(), "t");
  broker.publish("t", "first");
  broker.publish("t", "second");
  ASSERT_TRUE(in.wait_for_messages(2));
  EXPECT_EQ(in.messages()[0].payload, "second");
  EXPECT_GE(in.messages()[1].arrival - in.messages()[0].arrival, short_time / 2);
}

TEST(scripted_broker, delivers_once_per_client_or_once_per_filter) {
  scripted_broker broker;
  observer in(broker.port(), "a/#");
  in.subscribe("a/+");
  broker.publish("a/b", "once");
  broker.deliver_for_each_filter(true);
  broker.publish("a/b", "twice");
  ASSERT_TRUE(in.wait_for_messages(3));
  broker.publish("a/b/c", "end");
  ASSERT_TRUE(in.wait_for_messages(4));
  EXPECT_EQ(in.messages("a/b").size(), 3U);
}

TEST(scripted_broker, drops_the_connection_at_any_step) {
  for (const step at : {step::connect_received, step::connack_sent, step::subscribe_received,
                        step::suback_sent, step::publish_received, step::puback_sent}) {
    for (const bool reset : {false, true}) {
      scripted_broker broker;
      const auto rule = broker.add({.at = at, .action = fault::close{reset}, .times = 1});
      EXPECT_ANY_THROW({
        observer in(broker.port());
        in.subscribe("t", 1, short_time);
        publisher(broker.port()).publish("t", "x", 1, false, short_time);
      });
      EXPECT_EQ(broker.applied(rule), 1U);
      EXPECT_TRUE(broker.wait_for_clients(0));
    }
  }
}

TEST(scripted_broker, sees_clients_come_back_after_every_kind_of_loss) {
  scripted_broker broker;
  observer in({.port = broker.port(), .client_id = "in"});
  in.subscribe("t");
  const std::vector<std::function<void()>> losses{
      [&] { broker.drop("in"); },
      [&] { broker.drop("i?", true); },
      [&] {
        broker.stop_listening();
        broker.drop();
        broker.start_listening();
      },
  };
  std::size_t connections = 1;
  for (const auto& lose : losses) {
    lose();
    ASSERT_TRUE(broker.wait_for_count(step::connack_sent, ++connections, "in"));
    ASSERT_TRUE(broker.wait_for_subscription("t"));
  }
  EXPECT_EQ(broker.subscribe_count("t"), connections);
  EXPECT_THAT(broker.connected_clients(), ElementsAre("in"));
  broker.send_bytes("*", "\xf0\xff\xff\xff\xff\xff");  // no packet; this library gives up then
  EXPECT_TRUE(broker.wait_for_clients(0));
}

TEST(scripted_broker, accepts_and_says_nothing) {
  scripted_broker broker;
  const auto silence = broker.add({.at = step::accepted, .action = fault::hold{}});
  std::thread client([&] { EXPECT_NO_THROW(publisher(broker.port()).publish("t", "late")); });
  EXPECT_TRUE(broker.wait_for_fault(silence));
  EXPECT_EQ(broker.open_connections(), 1U);
  EXPECT_EQ(broker.count(step::connect_received), 0U);
  broker.release(silence);
  client.join();
  EXPECT_TRUE(broker.wait_for([&] { return broker.open_connections() == 0; }));
}

TEST(scripted_broker, stands_still_while_it_is_paused) {
  scripted_broker broker;
  publisher out(broker.port());
  broker.pause();
  EXPECT_THROW(out.publish("t", "x", 1, false, short_time), std::runtime_error);
  EXPECT_EQ(broker.count(step::publish_received), 0U);
  broker.resume();
  EXPECT_TRUE(broker.wait_for_count(step::puback_sent, 1));
  broker.pause();
  const std::string more_than_buffers_hold(30'000'000, 'x');
  EXPECT_THROW(out.publish("t", more_than_buffers_hold, 1, false, short_time), std::runtime_error);
}

TEST(scripted_broker, survives_random_bytes) {
  std::mt19937 random(7);
  for (int i = 0; i < 100'000; ++i) {
    std::string bytes(random() % 40, '\0');
    for (auto& byte : bytes) {
      byte = static_cast<char>(random());
    }
    if (bytes.size() > 1) {
      bytes[1] = static_cast<char>(bytes.size() - 2);
    }
    try {
      const auto decoded = decode(bytes);
      EXPECT_TRUE(!decoded || decoded->size == bytes.size());
    } catch (const malformed_packet&) {
    }
  }
}

TEST(scripted_broker, ends_at_once_with_clients_connected) {
  auto broker = std::make_unique<scripted_broker>();
  observer in(broker->port(), "#");
  broker->pause();
  const auto start = std::chrono::steady_clock::now();
  broker.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
}  // namespace kavu_test
