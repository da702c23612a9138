// The round trip from end to end, and all that can go wrong on its way.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <thread>
#include <tuple>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/scripted_broker.hpp"
#include "sensors/told.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;
using kavu::wire::ScanResult;
using testing::MatchesRegex;
using clock = std::chrono::steady_clock;

// The library's thread may be late when a machine is busy; what is measured against it is far
// longer.
constexpr auto slack = 4s;
constexpr auto time_out = 2s;
constexpr const char* subscribers = "*S???";
constexpr const char* publishers = "*P???";

enum channel { round_trip_ms = 0, publisher_ms = 1, subscriber_ms = 2, state = 3 };

host_settings roundtrip_at(std::uint16_t port) {
  return host_settings::roundtrip_sensor(port).set("timeout", std::to_string(time_out.count()));
}

bool has_failed(const ScanResult& result) {
  return result.response_code() != kavu::wire::RESPONSE_CODE_OK;
}

/// Everything that a scan must say when it got that far: the values of the phases that it has
/// behind it, and no others. A payload that is not ours has no time.
void expect_reached(const ScanResult& result, int reached) {
  EXPECT_EQ(integer_value(result, state), reached) << told(result);
  const std::pair<channel, bool> channels[] = {
      {subscriber_ms, reached >= 1},
      {publisher_ms, reached >= 2},
      {round_trip_ms, reached == 4 && !has_failed(result)}};
  for (const auto& [id, expected] : channels) {
    const auto value = integer_value(result, id);
    EXPECT_EQ(value.has_value(), expected) << "channel " << id;
    EXPECT_GE(value.value_or(0), 0) << "channel " << id;
  }
}

void expect_complete(const ScanResult& result) {
  expect_reached(result, 4);
  EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_OK);
  EXPECT_FALSE(result.has_message()) << told(result);
}

struct fault_case {
  const char* name;
  int state;
  /// Keys of the failure: any of them. Empty: none.
  const char* failure;
  std::vector<fault_rule> rules;
  /// What happens during the scan.
  void (*meanwhile)(scripted_broker&) = [](scripted_broker&) {};

  kavu::wire::ResponseCode response_code() const {
    return *failure == '\0' ? kavu::wire::RESPONSE_CODE_OK
           : state >= 3     ? kavu::wire::RESPONSE_CODE_WRONG_ANSWER
                            : kavu::wire::RESPONSE_CODE_ERROR;
  }
};

/// How long reaching a state may take: connecting tries two versions of the protocol, and the pause
/// before publishing is a second.
std::chrono::seconds longest(int reached) {
  constexpr auto connecting = 2 * time_out + 1s;
  return reached <= 1 ? connecting : reached == 3 ? 1s + time_out : 1s;
}

/// A broker misbehaves during one scan; then it behaves, and so does the sensor.
void run_fault_case(module_host& host, std::int32_t id, const fault_case& each) {
  SCOPED_TRACE(each.name);
  scripted_broker broker;
  for (const auto& rule : each.rules) {
    broker.add(rule);
  }
  ASSERT_EQ(host.create_sensor(id, roundtrip_at(broker.port())), KAVU_OK);
  const auto began = clock::now();
  auto meanwhile = std::async(std::launch::async, [&] { each.meanwhile(broker); });
  const auto result = host.scan_result(id);
  const auto ended = clock::now();
  meanwhile.get();

  expect_reached(result, each.state);
  EXPECT_EQ(result.response_code(), each.response_code());
  EXPECT_THAT(key_of(result.message()), MatchesRegex(each.failure)) << told(result);
  EXPECT_LT(ended - began, longest(each.state) + slack);
  if (each.failure == std::string("error.timeout") && each.state == 3) {
    const auto waited = ended - broker.packets(step::publish_received, publishers).at(0).time;
    EXPECT_GT(waited, time_out - 50ms);
    EXPECT_LT(waited, time_out + 1500ms);
  }
  EXPECT_TRUE(eventually([&] { return broker.open_connections() == 0; }));

  broker.release_all();
  broker.start_listening();
  expect_complete(host.scan_result(id));
  EXPECT_EQ(host.destroy_sensor(id), KAVU_OK);
}

using namespace fault;
using enum step;
using fault_rules = std::vector<fault_rule>;

void lose_publisher_in_pause(scripted_broker& broker) {
  broker.wait_for_count(connack_sent, 1, publishers);
  std::this_thread::sleep_for(400ms);  // into the pause of a second; nothing tells of it
  broker.stop_listening();  // the library may come back by itself, with an older protocol
  broker.drop(publishers);
}

void lose_publisher_before_puback(scripted_broker& broker) {
  broker.wait_for_fault(1);
  broker.drop(publishers, true);
}

void deliver_when_publisher_has_gone(scripted_broker& broker) {
  broker.wait_for_count(disconnect_received, 1, publishers);
  broker.release(1);
}

void publish_on_its_topic_in_pause(scripted_broker& broker) {
  broker.wait_for_count(connack_sent, 1, publishers);
  const auto asked = broker.packets(subscribe_received, subscribers);
  broker.publish(asked.at(0).packet.filters.at(0).filter, "somebody else's");
}

const char* const no_connection = "error.tcp_tls_connect_failure";
const char* const no_answer = "error.tcp_connection_timeout";
const char* const connection_lost = "error.connection_lost|error.mqttasync_disconnected";

const fault_case fault_cases[] = {
    {"the subscriber is refused", 0, "error.not_authorized",
     fault_rules{{connect_received, refuse{5}, subscribers}}},
    {"the subscriber's CONNECT is not answered", 0, no_answer,
     fault_rules{{connack_sent, withhold{}, subscribers}}},
    {"the connection ends before the subscriber's CONNACK", 0, no_connection,
     fault_rules{{connect_received, close{}, subscribers}}},
    {"the connection ends after the subscriber's CONNACK", 0, connection_lost,
     fault_rules{{connack_sent, close_after{}, subscribers}}},
    {"the subscription is refused", 0, "libi18n.error.generic",
     fault_rules{{subscribe_received, refuse{}, subscribers}}},
    {"the subscription is not answered", 0, "error.timeout",
     fault_rules{{suback_sent, withhold{}, subscribers}}},
    {"the connection ends instead of the SUBACK", 0, connection_lost,
     fault_rules{{suback_sent, close{}, subscribers}}},

    {"the publisher is refused", 1, "error.server_unavailable",
     fault_rules{{connect_received, refuse{3}, publishers}}},
    {"the publisher's CONNECT is not answered", 1, no_answer,
     fault_rules{{connack_sent, withhold{}, publishers}}},

    {"the publisher is lost in the pause", 2, "error.could_not_publish_not_connected",
     fault_rules{}, lose_publisher_in_pause},
    {"the connection ends instead of the PUBACK", 2, connection_lost,
     fault_rules{{puback_sent, close{}, publishers}}},
    {"not acknowledged until the connection ends", 2, connection_lost,
     fault_rules{{puback_sent, withhold{}, publishers}}, lose_publisher_before_puback},

    {"acknowledged late, never delivered", 3, "error.timeout",
     fault_rules{{puback_sent, delay{1700ms}, publishers},
                 {publish_sent, withhold{}, subscribers}}},
    {"the subscriber is lost while it waits", 3, "error.timeout",
     fault_rules{{publish_sent, close{}, subscribers}}},
    {"delivered when the scan has given up", 3, "error.timeout",
     fault_rules{{publish_sent, hold{}, subscribers}}, deliver_when_publisher_has_gone},

    {"delivered late, acknowledged later", 3, "error.timeout",
     fault_rules{{publish_sent, delay{2200ms}, subscribers},
                 {puback_sent, delay{2500ms}, publishers}}},

    {"delivered in time, acknowledged late", 4, "",
     fault_rules{{puback_sent, delay{2500ms}, publishers}}},
    {"a stranger publishes before", 4, "", fault_rules{}, publish_on_its_topic_in_pause},
    {"the payload is corrupted", 4, "error.payload_corrupted",
     fault_rules{{publish_sent, corrupt{}, subscribers}}},
    {"the message is delivered again", 4, "", fault_rules{{publish_sent, repeat{3}, subscribers}}},
};

TEST(roundtrip_sensor, every_fault_is_told_and_leaves_nothing_behind) {
  module_host host;
  std::vector<std::future<void>> running;
  std::int32_t id = 0;
  for (const auto& each : fault_cases) {
    running.push_back(std::async(std::launch::async,
                                 [&host, &each, id = ++id] { run_fault_case(host, id, each); }));
  }
  for (auto& each : running) {
    each.get();
  }
}

// A busy machine spoils single tries; the library's waiting, 100 ms, would show in most.
TEST(roundtrip_sensor, tells_the_time_that_the_broker_takes) {
  module_host host;
  mosquitto_broker quick;
  scripted_broker slow;
  slow.add({publish_sent, delay{150ms}});
  const std::tuple<std::int32_t, std::uint16_t, std::int64_t> cases[] = {{1, quick.port(), 0},
                                                                         {2, slow.port(), 150}};
  for (const auto& [id, port, delay_ms] : cases) {
    ASSERT_EQ(host.create_sensor(id, roundtrip_at(port)), KAVU_OK);
    int prompt = 0;
    int late = 0;
    std::int64_t least = 60;
    for (int tries = 0; tries < 12 && late < 3 && (least > 3 || prompt < 3); ++tries) {
      const auto result = host.scan_result(id);
      expect_complete(result);
      const auto excess = integer_value(result, round_trip_ms).value_or(-1) - delay_ms;
      EXPECT_GE(excess, 0);
      least = std::min(least, excess);
      ++(excess < 60 ? prompt : late);
    }
    EXPECT_LE(least, 3);
    EXPECT_LT(late, 3);
  }
  EXPECT_TRUE(quick.wait_for_clients(0));
}

/// The one packet of a kind that a client of the pattern has sent.
seen_packet only(const scripted_broker& broker, step at, std::string_view client) {
  const auto packets = broker.packets(at, client);
  EXPECT_EQ(packets.size(), 1U) << client;
  return packets.empty() ? seen_packet{} : packets.front();
}

TEST(roundtrip_sensor, its_clients_and_its_topic_are_its_own) {
  module_host host;
  scripted_broker broker;
  broker.add({connack_sent, delay{900ms}, "other*S???"});
  const auto custom = [&](const char* client_id) {
    return roundtrip_at(broker.port())
        .set("roundtrip.connection_roundtrip.topic", "plant/fixed")
        .set("roundtrip.connection_roundtrip.client_id", client_id);
  };
  const struct {
    std::int32_t id;
    host_settings settings;
    std::string clients;
    std::string topic;
  } cases[] = {{-7, roundtrip_at(broker.port()), "TRAVO_-7", "TRAVO/roundtrip/-7"},
               {8, custom("fixed"), "fixed", "plant/fixed"},
               {9, custom("other/%sensorid/%sensorid-"), "other/9/9-", "plant/fixed"}};
  std::vector<std::future<ScanResult>> scans;
  for (const auto& each : cases) {
    ASSERT_EQ(host.create_sensor(each.id, each.settings), KAVU_OK);
    scans.push_back(std::async(std::launch::async, [&] { return host.scan_result(each.id); }));
  }
  for (std::size_t i = 0; i < scans.size(); ++i) {
    SCOPED_TRACE(cases[i].clients);
    const auto result = scans[i].get();
    expect_complete(result);
    EXPECT_EQ(integer_value(result, subscriber_ms).value_or(0) >= 900, cases[i].id == 9);
    EXPECT_LT(integer_value(result, publisher_ms).value_or(900), 900);

    const auto subscribe = only(broker, subscribe_received, cases[i].clients + "S???");
    const auto publish = only(broker, publish_received, cases[i].clients + "P???");
    const std::string suffix = subscribe.client_id.substr(cases[i].clients.size() + 1);
    EXPECT_EQ(publish.client_id.substr(cases[i].clients.size() + 1), suffix);
    EXPECT_EQ(subscribe.packet.filters.at(0).filter, cases[i].topic + "_" + suffix);
    EXPECT_EQ(publish.packet.topic, cases[i].topic + "_" + suffix);
    EXPECT_EQ(publish.packet.qos, 1);
    EXPECT_FALSE(publish.packet.retain);
    EXPECT_EQ(publish.payload_size, 1024U);
    EXPECT_THAT(publish.packet.payload, MatchesRegex("[0-9A-Za-z]+"));
    EXPECT_GE(publish.time - subscribe.time, 1s);
  }
  EXPECT_EQ(broker.packets(publish_sent).size(), 3U);
}

}  // namespace
}  // namespace kavu_test
