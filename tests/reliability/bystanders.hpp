#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/publisher.hpp"
#include "reliability/slowness.hpp"

namespace kavu_test {

/// Sensors at a broker that is well, whose calls must take no notice of what happens elsewhere.
class bystanders {
 public:
  using duration = std::chrono::steady_clock::duration;

  static constexpr std::chrono::milliseconds limit{50 * slowness};

  /// The MQTT library may look for messages that late, with nothing else going on.
  static constexpr std::chrono::milliseconds library_lateness{100};

  explicit bystanders(module_host& host) : host_(host) {
    auto settings = host_settings::statistics_sensor(broker_.port(), "a/#");
    EXPECT_EQ(host.create_sensor(1, settings.set("logging", "enabled")), KAVU_OK);
    settings = host_settings::custom_sensor(broker_.port(), "b").channel(1, "$");
    EXPECT_EQ(host.create_sensor(2, settings), KAVU_OK);
  }
  ~bystanders() {
    host_.destroy_sensor(1);
    host_.destroy_sensor(2);
  }
  bystanders(const bystanders&) = delete;
  bystanders& operator=(const bystanders&) = delete;

  /// The slowest of many scans, questions for information, and messages on their way to a line
  /// in the log.
  duration slowest_call() {
    duration slowest{};
    const auto time = [&](const auto& call, duration allowance = duration::zero()) {
      const auto began = std::chrono::steady_clock::now();
      call();
      slowest = std::max(slowest, std::chrono::steady_clock::now() - began - allowance);
    };
    for (int round = 0; round < 50; ++round) {
      host_.inbox().clear();
      for (const std::int32_t id : {1, 2}) {
        time([&] {
          EXPECT_EQ(host_.scan_result(id).response_code(), kavu::wire::RESPONSE_CODE_OK);
        });
      }
      std::uint32_t size = 0;
      time([&] { host_.functions().get_module_information_sync(nullptr, &size, 0); });
      const std::string topic = "a/" + std::to_string(++messages_);
      time(
          [&] {
            outside_.publish(topic, "");
            EXPECT_TRUE(host_.inbox().wait_for_log('"' + topic + '"'));
          },
          library_lateness);
    }
    return slowest;
  }

 private:
  module_host& host_;
  mosquitto_broker broker_;
  publisher outside_{broker_.port()};
  int messages_ = 0;
};

}  // namespace kavu_test
