// A host in C++ whose callback throws. It must not, but it is no reason to end its process: on the
// way are frames of libraries that know no exceptions, and threads on which nobody catches any.

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/publisher.hpp"

namespace kavu_test {
namespace {

struct thrower {
  [[noreturn]] static void receive(std::uint64_t context, const std::uint8_t* data,
                                   std::uint32_t size) {
    auto& self = *reinterpret_cast<thrower*>(context);
    self.inbox.add(data, size);
    if (self.inbox.message_count() % 2 == 0) {
      throw std::runtime_error("the host's own failure");
    }
    throw 5;
  }

  module_inbox inbox;
};

class throwing_callback : public testing::Test {
 protected:
  throwing_callback() {
    EXPECT_EQ(host.functions().initialize_module(reinterpret_cast<std::uint64_t>(&thrown),
                                                 thrower::receive),
              KAVU_OK);
  }

  std::int64_t count_in_scan() {
    EXPECT_EQ(host.scan(1), KAVU_OK);
    return integer_value(thrown.inbox.scan_results(1).back(), 0).value_or(0);
  }

  mosquitto_broker broker;
  module_host host{/*initialized=*/false};
  thrower thrown;
};

TEST_F(throwing_callback, changes_no_code_and_reaches_no_other_frame) {
  auto settings = host_settings::statistics_sensor(broker.port(), "a/#");
  ASSERT_EQ(host.create_sensor(1, settings.set("logging", "enabled")), KAVU_OK);
  auto failing = host_settings::statistics_sensor(broker.port(), "a/#/b");
  EXPECT_EQ(host.create_sensor(2, failing), KAVU_FAILED);
  EXPECT_EQ(host.check(3, host_settings::connect_check(broker.port())), KAVU_OK);
  EXPECT_EQ(host.notify(4, host_settings::notification(broker.port(), "b", "text")), KAVU_OK);
  host.functions().get_module_information(KAVU_INCLUDE_TEXTS);
  EXPECT_GT(host.definition().size(), 100'000U);

  // Lines that are logged on the library's threads, and on the client's own.
  publisher(broker.port()).publish("a/b", "x");
  EXPECT_TRUE(thrown.inbox.wait_for_log("a/b"));
  EXPECT_TRUE(eventually([this] { return count_in_scan() == 1; }));
  broker.kill();
  EXPECT_TRUE(thrown.inbox.wait_for_log("Connection lost"));
  EXPECT_TRUE(thrown.inbox.wait_for_log("Start reconnecting"));
  broker.restart();
  EXPECT_TRUE(broker.wait_for_subscription("a/#"));
  publisher(broker.port()).publish("a/b", "x");
  EXPECT_TRUE(eventually([this] { return count_in_scan() == 1; }));
  EXPECT_EQ(host.destroy_sensor(1), KAVU_OK);
  EXPECT_EQ(host.cleanup(), KAVU_OK);
}

}  // namespace
}  // namespace kavu_test
