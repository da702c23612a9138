#include "helpers/module_host.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "helpers/loopback_port.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/publisher.hpp"

namespace kavu_test {
namespace {

TEST(module_host, loads_describes_and_unloads_the_module) {
  {
    module_host host;
    EXPECT_EQ(host.functions().get_api_level(), KAVU_MODULE_API_LEVEL);
    EXPECT_TRUE(is_loaded(module_path()));
    EXPECT_THAT(host.definition(), testing::HasSubstr("\"statistics_sensor\""));
    EXPECT_LT(host.definition(false).size(), host.definition(true).size());
  }
  EXPECT_FALSE(is_loaded(module_path()));
}

TEST(module_host, runs_a_check_and_a_sensor) {
  mosquitto_broker broker;
  module_host host;
  EXPECT_TRUE(host.check_succeeds(1, host_settings::connect_check(broker.port())));
  EXPECT_FALSE(host.check_succeeds(1, host_settings::connect_check(free_loopback_port())));
  ASSERT_EQ(host.create_sensor(5, host_settings::statistics_sensor(broker.port(), "a/#")), KAVU_OK);
  publisher(broker.port()).publish("a/b", "12345");
  std::int64_t bytes = 0;
  EXPECT_TRUE(eventually([&] {
    bytes += integer_value(host.scan_result(5), 1).value_or(0);
    return bytes == 5;
  })) << bytes;
  EXPECT_EQ(host.destroy_sensor(5), KAVU_OK);
  EXPECT_EQ(host.scan(5), KAVU_UNKNOWN_ID);
  EXPECT_EQ(host.inbox().unreadable_count(), 0U);
}

}  // namespace
}  // namespace kavu_test
