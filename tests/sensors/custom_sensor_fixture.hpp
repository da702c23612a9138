#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/publisher.hpp"
#include "sensors/told.hpp"

namespace kavu_test {

/// A host with custom sensors at one broker, and a publisher beside it.
///
/// What `deliver` returns from has arrived: a second sensor on the same connection has seen a
/// message that was published later, and messages come in the order of their publishing.
class plant {
 public:
  explicit plant(std::uint16_t port) : port_(port), out_(port) {
    create(marker_id, settings().custom("topic", "marker").channel(1, "$"));
  }

  /// A sensor on "plant/boiler" with the value of `$.t` in its first channel.
  host_settings settings() const {
    return host_settings::custom_sensor(port_, "plant/boiler")
        .channel(1, "$.t", "absolute_integer");
  }
  void create(std::int32_t id, const host_settings& settings) {
    ASSERT_EQ(host.create_sensor(id, settings), KAVU_OK) << id;
  }
  void deliver(std::string_view payload) {
    out_.publish("plant/boiler", payload);
    deliver_marker();
  }
  void deliver_many(const std::vector<outgoing_message>& messages) {
    out_.publish_many(messages);
    deliver_marker();
  }

  std::string scan(std::int32_t id = 1) { return told(host.scan_result(id)); }
  std::string scan_after(std::string_view payload) {
    deliver(payload);
    return scan();
  }

  module_host host;

 private:
  static constexpr std::int32_t marker_id = 10'000;

  void deliver_marker() {
    const std::string marker = std::to_string(++markers_);
    out_.publish("marker", marker);
    ASSERT_TRUE(eventually([&] { return scan(marker_id) == "ok 1=" + marker + ".0"; }));
  }

  const std::uint16_t port_;
  publisher out_;
  int markers_ = 0;
};

/// One broker for all cases, a plant for each.
class custom_sensor_test : public testing::Test {
 protected:
  static void SetUpTestSuite() { broker_ = std::make_unique<mosquitto_broker>(); }
  static void TearDownTestSuite() { broker_.reset(); }

  static inline std::unique_ptr<mosquitto_broker> broker_;
  plant plant_{broker_->port()};
};

}  // namespace kavu_test
