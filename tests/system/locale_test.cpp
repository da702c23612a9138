// The host's locale, with its decimal comma and its points in large numbers, is not the module's.

#include <gmock/gmock.h>

#include <locale>
#include <sstream>

#include "helpers/mosquitto_broker.hpp"
#include "system/module_fixture.hpp"

namespace kavu_test {
namespace {

struct comma : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

class comma_locale_test : public module_at<mosquitto_broker> {
 protected:
  ~comma_locale_test() override { std::locale::global(before); }

  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new comma));
};

TEST_F(comma_locale_test, numbers_stay_what_they_are) {
  std::ostringstream witness_of_the_locale;
  witness_of_the_locale << 1234567.5L;
  ASSERT_EQ(witness_of_the_locale.str(), "1,23457e+06");
  auto settings = host_settings::custom_sensor(broker.port(), "t");
  settings.channel(1, "$.f").channel(2, "$.i", "absolute_integer").channel(3, "$.s");
  settings.custom("channel1_scale_factor", "2.5").custom("message_path", "$.f");
  settings.set("logging", "enabled").custom("duration_since_last_message", "enable");
  ASSERT_EQ(host.create_sensor(1, settings), KAVU_OK);
  create(2, "t");
  create_witness();
  const std::string payload =
      R"({"f":98765.25,"i":1234567,"s":"0.5","x":")" + std::string(1'234'567, 'x') + "\"}";
  outside.publish("t", payload);
  settle();
  const auto result = host.scan_result(1);
  EXPECT_EQ(result.message().text(), "98765.25");
  EXPECT_EQ(floating_value(result, 1), 98765.25);
  EXPECT_EQ(integer_value(result, 2), 1234567);
  EXPECT_EQ(floating_value(result, 3), 0.5);
  EXPECT_EQ(result.definitions(1).scale_factor(), 2.5);
  EXPECT_EQ(scan(2), (counts{1, static_cast<std::int64_t>(payload.size()), 1}));
  EXPECT_TRUE(host.inbox().logged("with payload bytes: " + std::to_string(payload.size())));
  EXPECT_THAT(host.inbox().persistent_data(1).at("time_of_last_message"),
              testing::MatchesRegex("[0-9]{4}(-[0-9]{2}){2}T([0-9]{2}:){2}[0-9]{2}\\.[0-9]+.*"));
}

}  // namespace
}  // namespace kavu_test
