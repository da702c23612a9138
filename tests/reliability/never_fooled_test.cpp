// Refused filters are told, and no message counts for more than it is.

#include <gmock/gmock.h>

#include <chrono>

#include "helpers/scripted_broker.hpp"
#include "sensors/told.hpp"
#include "system/module_fixture.hpp"

namespace kavu_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class never_fooled : public module_at<scripted_broker> {
 protected:
  host_settings custom(std::string_view topic) const {
    return host_settings::custom_sensor(broker.port(), topic).channel(1, "$", "absolute_integer");
  }
  void wait_until_told(std::int32_t id, const testing::Matcher<std::string>& expected) {
    std::string now;
    eventually([&] {
      host.inbox().clear();
      now = told(host.scan_result(id));
      return expected.Matches(now);
    });
    EXPECT_THAT(now, expected) << id;
  }
};

// Sensors that are refused at creation have tests of their own.
TEST_F(never_fooled, a_filter_that_is_not_granted_when_it_is_renewed_fails_the_scans) {
  const auto in_time = [](host_settings settings) { return settings.set("timeout", "2"); };
  const auto statistics = [&](const char* topic) {
    return in_time(host_settings::statistics_sensor(broker.port(), topic));
  };
  ASSERT_EQ(host.create_sensor(1, statistics("secret/#")), KAVU_OK);
  ASSERT_EQ(host.create_sensor(2, statistics("open/#")), KAVU_OK);
  ASSERT_EQ(host.create_sensor(3, in_time(custom("secret/a"))), KAVU_OK);
  for (const bool answered : {true, false}) {
    const std::string words = answered ? "The broker refused the subscription to '"
                                       : "The broker did not answer the subscription to '";
    fault_rule rule{
        .at = step::subscribe_received, .action = fault::withhold{}, .topic = "secret/*"};
    if (answered) {
      rule.action = fault::refuse{};
    }
    const auto fault = broker.add(rule);
    broker.drop("TRAVO_*");
    wait_until_told(1, HasSubstr(words + "secret/#'"));
    wait_until_told(3, HasSubstr(words + "secret/a'"));
    wait_until_told(2, StartsWith("ok"));
    broker.release(fault);
    wait_until_told(1, StartsWith("ok"));
    wait_until_told(3, StartsWith("ok"));
  }
}

TEST_F(never_fooled, a_repeated_retained_message_never_makes_a_known_time_younger) {
  constexpr std::int64_t years = 5LL * 365 * 24 * 3600;
  broker.publish("a/b", "7", 1, /*retain=*/true);
  auto settings = custom("a/b").custom("duration_since_last_message", "enable");
  settings.persistent("time_of_last_message", "2020-01-01T00:00:00.000000000+00:00");
  create_witness();
  ASSERT_EQ(host.create_sensor(1, settings), KAVU_OK);
  settle();
  create(2, "a/#");
  const auto expect_repeated = [&](int times) {
    settle();
    const auto result = host.scan_result(1);
    EXPECT_EQ(integer_value(result, 1), 7) << told(result);
    EXPECT_GT(integer_value(result, 0).value_or(-1), years);
    const std::string number = std::to_string(times);
    EXPECT_THAT(told(host.scan_result(2)), EndsWith(" 0=" + number + " 1=" + number + " 2=1"));
  };
  expect_repeated(1);
  broker.drop("TRAVO_*");
  ASSERT_TRUE(broker.wait_for([&] { return broker.subscribe_count("witness") == 2; }));
  expect_repeated(2);  // once for each of the two filters that were renewed
  create(3, "a/+");
  expect_repeated(1);
  EXPECT_EQ(scan(3), (counts{1, 1, 1}));
}

TEST_F(never_fooled, a_repeated_retained_message_does_not_pass_for_a_newer_one) {
  const std::string doubt =
      "warning \"The broker has repeated a retained message; a newer one may have been missed.\"";
  const auto repeating = [&](const char* topic) {
    return custom(topic).custom("retain_last_message", "retain").set("logging", "enabled");
  };
  const auto expect = [&](std::int32_t id, const std::string& shown) {
    EXPECT_EQ(told(host.scan_result(id)), shown) << id;
    EXPECT_EQ(told(host.scan_result(id)), shown) << id << ", kept";
  };
  int connections = 1;
  const auto come_back = [&] {
    broker.start_listening();
    const std::size_t renewals = static_cast<std::size_t>(++connections);
    ASSERT_TRUE(broker.wait_for([&] { return broker.subscribe_count("witness") == renewals; }));
    settle();
  };
  broker.publish("a/b", "1", 1, /*retain=*/true);
  broker.publish("c", "5", 1, true);
  broker.publish("t/a", "2", 1, true);
  broker.publish("t/b", "3", 1, true);
  create_witness();
  ASSERT_EQ(host.create_sensor(1, repeating("a/b")), KAVU_OK);
  ASSERT_EQ(host.create_sensor(3, repeating("c")), KAVU_OK);
  settle();
  expect(1, "ok 1=1");
  expect(3, "ok 1=5");
  outside.publish("a/b", "100");
  ASSERT_EQ(host.create_sensor(4, repeating("t/+")), KAVU_OK);
  outside.publish("t/b", "4", 1, true);
  outside.publish("t/a", "200");
  ASSERT_EQ(host.create_sensor(2, repeating("a/b")), KAVU_OK);  // the broker repeats it for both
  ASSERT_EQ(host.create_sensor(5, repeating("t/+")), KAVU_OK);
  settle();
  expect(4, "ok 1=200");
  expect(1, "ok 1=100");
  expect(2, doubt + " 1=1");
  outside.publish("a/b", "101");
  settle();
  expect(2, "ok 1=101");

  host.inbox().clear();
  broker.stop_listening();
  broker.drop("TRAVO_*");
  broker.publish("c", "", 1, true);  // nobody is told, and nothing is there to be repeated
  come_back();
  for (const std::int32_t id : {1, 2}) {
    expect(id, doubt + " 1=1");
  }
  expect(3, doubt + " 1=5");
  expect(4, doubt + (told(host.scan_result(4)).ends_with("=4") ? " 1=4" : " 1=2"));
  EXPECT_EQ(host.inbox()
                .messages([&](const auto& message) {
                  return doubt.find(message.log_record().text()) != std::string::npos &&
                         message.has_log_record() && message.log_record().severity() == 4;
                })
                .size(),
            4U);
  outside.publish("a/b", "102", 1, true);
  settle();
  expect(1, "ok 1=102");
  broker.drop("TRAVO_*");
  come_back();
  expect(1, "ok 1=102");

  // Another life of the sensor, with a client of its own, goes on from what was kept.
  auto settings = host.with_kept_data(1, repeating("a/b"));
  ASSERT_EQ(host.create_sensor(6, settings.user("anna", "p")), KAVU_OK);
  wait_until_told(6, testing::Eq("ok 1=102"));
  outside.publish("a/b", "1", 1, true);
  ASSERT_EQ(host.create_sensor(7, settings.user("berta", "p")), KAVU_OK);
  wait_until_told(7, testing::Eq(doubt + " 1=1"));
  expect(7, doubt + " 1=1");
}

// MQTT lets a broker send a message once for each of a client's filters, and says nothing in it
// about which. All sensors of a connection then see every copy.
TEST_F(never_fooled, a_message_counts_as_often_as_the_broker_sends_it) {
  broker.deliver_for_each_filter(true);
  create(1, "a/b");
  create(2, "a/b");
  create(3, "a/+");
  create(4, "a/#");
  create(5, "c");
  create_witness();
  outside.publish("a/b", "123");
  outside.publish("c", "12");
  settle();
  for (const std::int32_t id : {1, 2, 3, 4}) {
    EXPECT_EQ(scan(id), (counts{3, 9, 1})) << id;
  }
  EXPECT_EQ(scan(5), (counts{1, 2, 1}));
}

}  // namespace
}  // namespace kavu_test
