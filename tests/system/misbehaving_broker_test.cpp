// Sensors at a broker that refuses, says nothing, or sends what it should not.

#include <gmock/gmock.h>

#include <chrono>

#include "helpers/scripted_broker.hpp"
#include "system/module_fixture.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

using misbehaving_broker = module_at<scripted_broker>;

TEST_F(misbehaving_broker, a_subscription_that_is_refused_or_not_answered_fails_the_creation) {
  broker.add({.at = step::subscribe_received, .action = fault::refuse{}, .topic = "forbidden"});
  broker.add({.at = step::subscribe_received, .action = fault::withhold{}, .topic = "silent"});
  for (const auto& [topic, words] :
       {std::pair{"forbidden", "The broker refused the subscription to 'forbidden'."},
        std::pair{"silent", "Timeout. The broker did not answer the subscription to 'silent'."}}) {
    const auto began = std::chrono::steady_clock::now();
    const auto result = failed_creation(
        7, host_settings::statistics_sensor(broker.port(), topic).set("timeout", "1"));
    EXPECT_LT(std::chrono::steady_clock::now() - began, 6s) << topic;
    EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_ERROR);
    EXPECT_THAT(result.message().text(), testing::HasSubstr(words));
    EXPECT_TRUE(broker.wait_for_clients(0, "TRAVO_*")) << topic;
  }
  create(7, "allowed");
}

TEST_F(misbehaving_broker, topics_of_any_bytes_do_no_harm) {
  create(1, "t/#");
  create_witness();
  for (const std::string& topic :
       {"t/\x01\x1f\n"s, "t/\x7f\xc2\x80"s, "t/\xef\xbf\xbf"s, "t/\xff\xc3"s, "t/\0x"s}) {
    broker.publish(topic, "12");
  }
  broker.publish("t/good", "123");
  settle();
  const auto result = host.scan_result(1);
  EXPECT_EQ(counted(result), (counts{1, 3, 1}));
  EXPECT_THAT(result.message().text(), testing::EndsWith("first on 't/?\?\?'."));
  EXPECT_EQ(broker.count(step::connect_received, "TRAVO_*"), 1U);
}

}  // namespace
}  // namespace kavu_test
