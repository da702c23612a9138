// A publisher that invents a topic for every message: what the sensor keeps of them is bounded, and
// what it counts is exact.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/process_figures.hpp"
#include "helpers/publisher.hpp"
#include "mqtt/sensors/statistics_counters.hpp"

namespace kavu_test {
namespace {

using brunvik::monitoring_modules::mqtt::received_message;
using brunvik::monitoring_modules::mqtt::statistics_counters;

/// Of 100,000 topics: what is kept of each beside its name, and the table that finds it.
constexpr std::size_t most_bookkeeping = statistics_counters::most_topics * 128;
constexpr std::size_t most_kept = statistics_counters::most_topic_bytes + most_bookkeeping;

std::size_t allocated() {
  return process_figures::now().heap_bytes;
}

// Short names meet the bound of their number, long ones that of their bytes.
TEST(invented_topics, are_counted_in_bounded_memory) {
  constexpr std::uint64_t messages = 10'000'000;
  for (const std::size_t length : {8, 1000}) {
    statistics_counters counters;
    received_message message{.topic = std::string(length, 'x'), .payload = "12"};
    const auto before = allocated();
    for (std::uint64_t number = 0; number < messages; ++number) {
      for (std::size_t digit = 0, rest = number; digit < 8; ++digit, rest /= 10) {
        message.topic[digit] = static_cast<char>('0' + rest % 10);
      }
      counters.count(message);
    }
    EXPECT_LT(allocated(), before + most_kept);
    const auto counted = counters.take();
    EXPECT_EQ(counted.messages, messages);
    EXPECT_EQ(counted.payload_bytes, 2 * messages);
    EXPECT_EQ(counted.active_topics, std::nullopt);
    EXPECT_LT(allocated(), before + 64 * 1024) << "taking gives the memory back";
    counters.count(message);
    EXPECT_EQ(counters.take().active_topics, 1U) << "the next interval begins anew";
  }
}

TEST(invented_topics, at_a_broker_are_counted_exactly_and_their_number_is_said_to_be_unknown) {
  mosquitto_broker broker{{.log_packets = false}};
  module_host host;
  publisher outside{broker.port()};
  // Scans of the second, on the same connection, show when all has gone through.
  for (const std::int32_t id : {1, 2}) {
    ASSERT_EQ(host.create_sensor(id, host_settings::statistics_sensor(broker.port(), "t/#")),
              KAVU_OK);
  }
  std::int64_t sent = 0;
  std::int64_t seen = 0;
  const auto publish_batch = [&](int size) {
    std::vector<outgoing_message> messages;
    for (int number = 0; number < size; ++number) {
      messages.push_back({"t/" + std::to_string(sent++), "12345"});
    }
    outside.publish_many(messages, std::chrono::seconds(60));
    ASSERT_TRUE(eventually([&] {
      seen += integer_value(host.scan_result(2), 0).value_or(0);
      return seen == sent;
    })) << seen;
  };
  const auto before = allocated();
  for (int batch = 0; batch < 30 && !testing::Test::HasFailure(); ++batch) {
    publish_batch(10'000);
  }
  EXPECT_LT(allocated(), before + 2 * most_kept);
  const auto result = host.scan_result(1);
  EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_WARNING);
  EXPECT_THAT(result.message().text(),
              testing::HasSubstr("more active topics than can be counted"));
  EXPECT_EQ(integer_value(result, 0), sent);
  EXPECT_EQ(integer_value(result, 1), 5 * sent);
  EXPECT_EQ(integer_value(result, 2), std::nullopt);
}

}  // namespace
}  // namespace kavu_test
