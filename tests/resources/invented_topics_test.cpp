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

class invented_topics : public testing::TestWithParam<std::size_t> {};

TEST_P(invented_topics, are_counted_in_bounded_memory) {
  constexpr std::uint64_t messages = 10'000'000;
  statistics_counters counters;
  received_message message{.topic = std::string(GetParam(), 'x'), .payload = "12"};
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
}

// Short names meet the bound of their number, long ones that of their bytes.
INSTANTIATE_TEST_SUITE_P(of_length, invented_topics, testing::Values(8, 1000));

class invented_at_a_broker : public testing::Test {
 protected:
  static mosquitto_options quiet() {
    mosquitto_options options;
    options.log_packets = false;
    return options;
  }
  void publish(int first, int end) {
    std::vector<outgoing_message> messages;
    for (int number = first; number < end; ++number) {
      messages.push_back({"t/" + std::to_string(number), "12345"});
    }
    outside.publish_many(messages, std::chrono::seconds(60));
  }

  mosquitto_broker broker{quiet()};
  module_host host;
  publisher outside{broker.port()};
};

TEST_F(invented_at_a_broker, are_counted_exactly_and_their_number_is_said_to_be_unknown) {
  constexpr int total = 300'000;
  constexpr int batch = 10'000;
  ASSERT_EQ(host.create_sensor(1, host_settings::statistics_sensor(broker.port(), "t/#")), KAVU_OK);
  // A second sensor on the same connection, whose scans show when all has gone through.
  ASSERT_EQ(host.create_sensor(2, host_settings::statistics_sensor(broker.port(), "t/#")), KAVU_OK);
  std::int64_t seen = 0;
  const auto before = allocated();
  for (int first = 0; first < total; first += batch) {
    publish(first, first + batch);
    ASSERT_TRUE(eventually([&] {
      seen += integer_value(host.scan_result(2), 0).value_or(0);
      return seen == first + batch;
    })) << seen;
  }
  EXPECT_LT(allocated(), before + 2 * most_kept);
  const auto result = host.scan_result(1);
  EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_WARNING);
  EXPECT_THAT(result.message().text(),
              testing::HasSubstr("more active topics than can be counted"));
  EXPECT_EQ(integer_value(result, 0), total);
  EXPECT_EQ(integer_value(result, 1), 5 * total);
  EXPECT_EQ(integer_value(result, 2), std::nullopt);
  publish(0, 3);
  ASSERT_TRUE(eventually([&] {
    seen += integer_value(host.scan_result(2), 0).value_or(0);
    return seen == total + 3;
  }));
  EXPECT_EQ(integer_value(host.scan_result(1), 2), 3) << "the next interval begins anew";
}

}  // namespace
}  // namespace kavu_test
