// While somebody is connected to who never answers, nobody else waits.

#include <gtest/gtest.h>

#include <future>

#include "helpers/certificates.hpp"
#include "helpers/scripted_broker.hpp"
#include "reliability/bystanders.hpp"

namespace kavu_test {
namespace {

/// Everything that connects, at once, with a time-out that outlasts the test.
std::vector<std::future<void>> connect_in_every_way(module_host& host, std::uint16_t port,
                                                    bool with_tls) {
  const auto patient = [&](host_settings settings) {
    settings.set("timeout", "60");
    return with_tls ? settings.tls(certificates::get().authority.pem) : settings;
  };
  auto notification = host_settings::notification(port, "a", "text");
  notification.envelope().mutable_notification_request()->set_timeout_s(60);
  std::vector<std::future<void>> calls;
  const auto start = [&](auto call) { calls.push_back(std::async(std::launch::async, call)); };
  start([&host, settings = patient(host_settings::statistics_sensor(port, "a"))] {
    host.create_sensor(100, settings);
  });
  start([&host, settings = patient(host_settings::custom_sensor(port, "a").user("anna", "p"))] {
    host.create_sensor(101, settings);
  });
  start(
      [&host, settings = patient(host_settings::connect_check(port))] { host.check(1, settings); });
  start([&host, notification] { host.notify(1, notification); });
  host.create_sensor(102, patient(host_settings::roundtrip_sensor(port)));
  start([&host] { host.scan(102); });
  return calls;
}

struct silence {
  const char* name;
  step at;
  bool with_tls = false;
};

class never_stuck : public testing::TestWithParam<silence> {};

TEST_P(never_stuck, by_a_broker_that_accepts_and_does_not_answer) {
  module_host host;
  bystanders others(host);
  // Of three tries one may be spoilt by a busy machine, but not all of them.
  auto slowest = others.slowest_call();
  for (int tries = 0; tries < 3 && (tries == 0 || slowest >= bystanders::limit); ++tries) {
    scripted_broker silent;
    const auto rule = silent.add({.at = GetParam().at, .action = fault::withhold{}});
    auto calls = connect_in_every_way(host, silent.port(), GetParam().with_tls);
    ASSERT_TRUE(silent.wait_for_fault(rule, 4));
    slowest = others.slowest_call();
    for (const auto& call : calls) {
      EXPECT_EQ(call.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    }
    silent.stop_listening();
    silent.drop();
    calls.clear();
    for (const std::int32_t id : {100, 101, 102}) {
      host.destroy_sensor(id);
    }
  }
  EXPECT_LT(slowest, bystanders::limit);
}

INSTANTIATE_TEST_SUITE_P(silences, never_stuck,
                         testing::Values(silence{"accepted", step::accepted},
                                         silence{"connack", step::connack_sent},
                                         silence{"tls", step::accepted, true}),
                         [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace kavu_test
