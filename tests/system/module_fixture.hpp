#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>

#include "helpers/module_host.hpp"
#include "helpers/publisher.hpp"

namespace kavu_test {

/// What a statistics sensor has counted.
struct counts {
  std::int64_t messages = 0;
  std::int64_t bytes = 0;
  std::int64_t topics = 0;

  friend bool operator==(const counts&, const counts&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const counts& counted) {
    return stream << counted.messages << " messages, " << counted.bytes << " bytes, "
                  << counted.topics << " topics";
  }
};

/// A module with sensors at a broker, and somebody outside who publishes.
template <class Broker>
class module_at : public testing::Test {
 protected:
  void create(std::int32_t id, std::string_view filter) {
    ASSERT_EQ(host.create_sensor(id, host_settings::statistics_sensor(broker.port(), filter)),
              KAVU_OK);
  }
  counts scan(std::int32_t id) {
    const auto result = host.scan_result(id);
    EXPECT_EQ(result.response_code(), kavu::wire::RESPONSE_CODE_OK) << result.message().text();
    return counted(result);
  }
  static counts counted(const kavu::wire::ScanResult& result) {
    return {integer_value(result, 0).value_or(-1), integer_value(result, 1).value_or(-1),
            integer_value(result, 2).value_or(-1)};
  }

  /// A further sensor on the same connection, which is only there to see the end of what has been
  /// published: the client hands on one message after the other.
  void create_witness() { create(witness, "witness"); }
  /// Waits until all that has been published so far has gone through the sensors' hands. With
  /// quality of service 2, as one of less would overtake an earlier message of that quality.
  void settle() {
    outside.publish("witness", "", 2);
    ASSERT_TRUE(eventually(
        [this] { return integer_value(host.scan_result(witness), 0).value_or(0) == 1; }));
  }

  /// The one result of a creation that has failed, as it must.
  kavu::wire::ScanResult failed_creation(std::int32_t id, const host_settings& settings) {
    host.inbox().clear();
    EXPECT_EQ(host.create_sensor(id, settings), KAVU_FAILED);
    const auto results = host.inbox().scan_results(id);
    EXPECT_EQ(results.size(), 1U);
    EXPECT_EQ(host.scan(id), KAVU_UNKNOWN_ID);
    return results.empty() ? kavu::wire::ScanResult() : results.front();
  }

  Broker broker;
  module_host host;
  publisher outside{broker.port()};

 private:
  static constexpr std::int32_t witness = 1'000'000;
};

}  // namespace kavu_test
