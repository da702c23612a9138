// Whatever a broker does, and when: a check returns within the time-out of its settings and half a
// second, every other exported function within twice the time-out and a second for each connection
// that it makes.

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <optional>
#include <thread>

#include "helpers/module_host.hpp"
#include "helpers/scripted_broker.hpp"
#include "reliability/slowness.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using namespace fault;
using enum step;
using clock = std::chrono::steady_clock;

constexpr auto time_out = 1s;
constexpr auto slack = slowness == 1 ? 1000ms : 2000ms;

struct misdeed {
  std::string name;
  step at;
  /// Nothing: the broker stops altogether when it gets that far.
  std::optional<fault_action> action;

  /// A message stays pending for as long as the connection seems to live, which is longer.
  bool holds_message() const {
    if (!action) {
      return at != accepted && at != connect_received && at != connack_sent;
    }
    return (at == publish_received || at == puback_sent) &&
           (std::holds_alternative<withhold>(*action) || std::holds_alternative<replace>(*action));
  }
};

std::vector<misdeed> misdeeds() {
  std::vector<misdeed> all;
  const std::pair<step, const char*> steps[] = {{accepted, "accepted"},
                                                {connect_received, "CONNECT"},
                                                {connack_sent, "CONNACK"},
                                                {subscribe_received, "SUBSCRIBE"},
                                                {suback_sent, "SUBACK"},
                                                {publish_received, "PUBLISH"},
                                                {puback_sent, "PUBACK"},
                                                {publish_sent, "PUBLISH to the subscriber"},
                                                {unsubscribe_received, "UNSUBSCRIBE"},
                                                {unsuback_sent, "UNSUBACK"},
                                                {disconnect_received, "DISCONNECT"}};
  const std::pair<const char*, std::optional<fault_action>> actions[] = {
      {"not answered", withhold{}},
      {"answered just in time", delay{900ms}},
      {"closed instead", close{}},
      {"reset instead", close{true}},
      {"closed afterwards", close_after{}},
      {"reset afterwards", close_after{true}},
      {"the broker stops", std::nullopt},
      {"no MQTT", replace{"HTTP/1.1 400 Bad Request\r\n\r\n"}},
      {"zeros", replace{std::string(64, '\0')}},
      {"a packet of no type", replace{"\xf0\x00"s}},
      {"a length without an end", replace{"\x20\xff\xff\xff\xff\xff\xff\x01"s}},
      {"a packet that is never complete", replace{"\x90\xff\x7f\x00"s}},
      {"a CONNACK without content", replace{"\x20\x00"s}},
      {"a SUBACK without content", replace{"\x90\x00"s}},
      {"a PUBACK without content", replace{"\x40\x00"s}},
      {"an answer to nothing", replace{"\x90\x03\xff\xff\x01"s}}};
  for (const auto& [at, packet] : steps) {
    for (const auto& [what, action] : actions) {
      all.push_back({std::string(packet) + ": " + what, at, action});
    }
  }
  for (std::uint8_t code = 1; code <= 6; ++code) {
    all.push_back(
        {"CONNECT: refused with " + std::to_string(code), connect_received, refuse{code}});
  }
  all.push_back({"SUBSCRIBE: refused", subscribe_received, refuse{}});
  all.push_back(
      {"SUBACK: of a level that does not exist", suback_sent, replace{"\x90\x03\0\1\x55"s}});
  return all;
}

/// One misdeed, and a host that calls everything.
class victim {
 public:
  victim(module_host& host, const misdeed& suffered, std::int32_t first_id)
      : host_(host), suffered_(suffered), first_id_(first_id) {
    rule_ = broker_.add({suffered.at, suffered.action.value_or(hold{})});
  }

  void suffer() {
    auto stop = std::async(std::launch::async, [this] { stop_broker(); });
    auto sensors = std::async(std::launch::async, [this] { use_sensors(); });
    auto others = std::async(std::launch::async, [this] { connect_briefly(); });
    use_round_trip();
    sensors.get();
    others.get();
    ended_ = true;
  }

 private:
  template <class Call>
  std::int32_t bounded(const char* what, int connections, const Call& call) {
    return within(std::max(connections, 1) * (2 * time_out + slack), what, call);
  }
  template <class Call>
  std::int32_t within(clock::duration limit, const char* what, const Call& call) {
    const auto began = clock::now();
    const std::int32_t code = call();
    EXPECT_LE(clock::now() - began, limit) << suffered_.name << ": " << what;
    return code;
  }

  host_settings in_time(host_settings settings) const {
    return settings.set("timeout", std::to_string(time_out.count()));
  }

  void use(std::int32_t id, const host_settings& settings, int creating, int scanning) {
    const auto code =
        bounded("creating", creating, [&] { return host_.create_sensor(id, in_time(settings)); });
    if (code == KAVU_OK) {
      for (int scans = 0; scans < 2; ++scans) {
        EXPECT_EQ(bounded("scanning", scanning, [&] { return host_.scan(id); }), KAVU_OK);
      }
      EXPECT_EQ(bounded("destroying", 0, [&] { return host_.destroy_sensor(id); }), KAVU_OK);
    }
  }
  void use_sensors() {
    use(first_id_, host_settings::statistics_sensor(broker_.port(), "a"), 1, 0);
    use(first_id_ + 1, host_settings::custom_sensor(broker_.port(), "a").channel(1, "$"), 1, 0);
  }
  void use_round_trip() {
    if (!suffered_.holds_message()) {
      use(first_id_ + 2, host_settings::roundtrip_sensor(broker_.port()), 0, 2);
    }
  }
  void connect_briefly() {
    const auto check = in_time(host_settings::connect_check(broker_.port())).user("anna", "p");
    EXPECT_EQ(
        within(time_out + slack / 2, "checking", [&] { return host_.check(first_id_, check); }),
        KAVU_OK);
    if (!suffered_.holds_message()) {
      auto text = host_settings::notification(broker_.port(), "a", "text");
      text.envelope().mutable_notification_request()->set_timeout_s(time_out.count());
      EXPECT_EQ(bounded("notifying", 1, [&] { return host_.notify(first_id_, text); }), KAVU_OK);
    }
  }

  void stop_broker() {
    if (!suffered_.action) {
      eventually([this] { return ended_ || broker_.applied(rule_) > 0; }, 30s);
      broker_.pause();
    }
  }

  module_host& host_;
  const misdeed& suffered_;
  const std::int32_t first_id_;
  scripted_broker broker_;
  fault_id rule_;
  std::atomic<bool> ended_ = false;
};

TEST(every_export, returns_in_time_whatever_the_broker_does) {
  module_host host;
  const auto all = misdeeds();
  std::atomic<std::size_t> next = 0;
  std::vector<std::jthread> workers;
  workers.reserve(60);
  for (int worker = 0; worker < 60; ++worker) {
    workers.emplace_back([&] {
      for (std::size_t number = next++; number < all.size(); number = next++) {
        victim(host, all[number], static_cast<std::int32_t>(number) * 10).suffer();
      }
    });
  }
}

}  // namespace
}  // namespace kavu_test
