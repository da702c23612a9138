// Messages that are on their way to a sensor while it is being destroyed.

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "helpers/module_host.hpp"
#include "helpers/scripted_broker.hpp"

namespace kavu_test {
namespace {

/// Publishes on one topic, from construction to destruction: often, but not more than can be read,
/// or a subscription's answer would stand behind ever more messages.
class flood {
 public:
  flood(scripted_broker& broker, const std::string& topic)
      : thread_([this, &broker, topic] {
          while (!stopping_) {
            for (int burst = 0; burst < 20; ++burst) {
              broker.publish(topic, "payload", 0);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
          }
        }) {}
  ~flood() {
    stopping_ = true;
    thread_.join();
  }

 private:
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

class message_in_flight : public testing::Test {
 protected:
  /// Creates a sensor, waits until messages reach it, and destroys it in the middle of them.
  void live_and_die(std::int32_t id) {
    ASSERT_EQ(host.create_sensor(id, settings), KAVU_OK);
    const auto sent = broker.count(step::publish_sent);
    ASSERT_TRUE(broker.wait_for_count(step::publish_sent, sent + 1));
    ASSERT_EQ(host.destroy_sensor(id), KAVU_OK);
  }

  scripted_broker broker;
  module_host host;
  host_settings settings = host_settings::statistics_sensor(broker.port(), "flood/#");
};

TEST_F(message_in_flight, touches_nothing_of_a_sensor_that_goes_while_its_connection_stays) {
  ASSERT_EQ(host.create_sensor(0, settings), KAVU_OK);
  const flood messages(broker, "flood/a");
  for (int round = 1; round <= 1000 && !HasFailure(); ++round) {
    live_and_die(round);
  }
  EXPECT_EQ(broker.count(step::connect_received), 1U);
}

TEST_F(message_in_flight, touches_nothing_of_a_sensor_that_goes_with_its_connection) {
  const flood messages(broker, "flood/a");
  for (int round = 1; round <= 100 && !HasFailure(); ++round) {
    live_and_die(round);
  }
}

/// Holds the first message on the library's thread, in the line that the sensor logs for it.
struct slow_host {
  static void receive(std::uint64_t context, const std::uint8_t* data, std::uint32_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (bytes.find("Received on topic") != std::string_view::npos) {
      auto& host = *reinterpret_cast<slow_host*>(context);
      host.arrived.set_value();
      host.released.get_future().wait();
    }
  }

  std::promise<void> arrived;
  std::promise<void> released;
};

TEST_F(message_in_flight, in_the_hosts_hands_does_not_keep_its_sensor) {
  slow_host slow;
  host.cleanup();
  ASSERT_EQ(host.functions().initialize_module(reinterpret_cast<std::uint64_t>(&slow),
                                               slow_host::receive),
            KAVU_OK);
  ASSERT_EQ(host.create_sensor(1, settings.set("logging", "enabled")), KAVU_OK);
  broker.publish("flood/a", "payload");
  ASSERT_EQ(slow.arrived.get_future().wait_for(default_deadline), std::future_status::ready);
  std::thread destroys([&] { EXPECT_EQ(host.destroy_sensor(1), KAVU_OK); });
  EXPECT_TRUE(eventually([&] { return host.scan(1) == KAVU_UNKNOWN_ID; }));
  slow.released.set_value();
  destroys.join();
  EXPECT_TRUE(broker.wait_for_clients(0));
}

}  // namespace
}  // namespace kavu_test
