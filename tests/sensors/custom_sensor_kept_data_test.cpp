// What outlives a sensor: the time of its last message and its last result.

#include <gmock/gmock.h>

#include <chrono>
#include <tuple>

#include "sensors/custom_sensor_fixture.hpp"

namespace kavu_test {
namespace {

constexpr const char* time_key = "time_of_last_message";
constexpr const char* result_key = "last_sensor_result";
constexpr const char* new_year_2020 = "2020-01-01T00:00:00.000000000+00:00";

std::int64_t seconds_since_new_year_2020() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count() - 1'577'836'800;
}

class custom_sensor_kept_data : public custom_sensor_test {
 protected:
  host_settings with_duration() const {
    return plant_.settings().custom("duration_since_last_message", "enable");
  }
  host_settings with_retain() const {
    return plant_.settings().custom("retain_last_message", "retain");
  }
  /// Of the duration channel; -1 without a value.
  std::int64_t scanned_seconds() {
    return integer_value(plant_.host.scan_result(1), 0).value_or(-1);
  }
  std::map<std::string, std::string> kept() { return plant_.host.inbox().persistent_data(1); }
};

/// At least so many seconds, and not many more.
auto is_about(std::int64_t seconds) {
  return testing::AllOf(testing::Ge(seconds), testing::Lt(seconds + 60));
}

TEST_F(custom_sensor_kept_data, the_duration_is_told_as_soon_as_there_was_a_message) {
  plant_.create(1, with_duration());
  EXPECT_EQ(plant_.scan(), "ok");
  EXPECT_THAT(plant_.scan_after(R"({"t": 5})"), testing::MatchesRegex("ok 0=[0-9]+ 1=5"));
  EXPECT_THAT(plant_.scan(), testing::MatchesRegex("ok 0=[0-9]+"));
  EXPECT_THAT(scanned_seconds(), is_about(0));
  plant_.create(  // a clock that was set back
      2, with_duration().persistent(time_key, "2200-01-01T00:00:00.000000000+00:00"));
  EXPECT_EQ(plant_.scan(2), "ok 0=0");
}

TEST_F(custom_sensor_kept_data, the_time_outlives_the_sensor_even_when_it_was_not_scanned) {
  plant_.create(1, with_duration().persistent(time_key, new_year_2020));
  const auto known = seconds_since_new_year_2020();
  EXPECT_THAT(scanned_seconds(), is_about(known));
  plant_.deliver("{}");
  plant_.host.destroy_sensor(1);
  ASSERT_EQ(kept().count(time_key), 1U);
  plant_.create(1, plant_.host.with_kept_data(1, with_duration()));
  EXPECT_THAT(scanned_seconds(), is_about(0));
}

TEST_F(custom_sensor_kept_data, the_time_is_sent_once_per_scan_and_before_its_result) {
  plant_.create(1, with_duration());
  plant_.deliver_many(std::vector<outgoing_message>(100, {"plant/boiler", R"({"t": 5})"}));
  plant_.scan();
  plant_.scan();
  std::string order;
  for (const auto& message : plant_.host.inbox().messages([](const auto&) { return true; })) {
    if (message.has_scan_result() && message.scan_result().sensor_id() == 1) {
      order += "result ";
    } else if (message.has_persistent_data() && message.persistent_data().sensor_id() == 1) {
      for (const auto& entry : message.persistent_data().entries()) {
        order += entry.key() + " ";
      }
    }
  }
  EXPECT_EQ(order, "fingerprint time_of_last_message last_sensor_result result result ");
}

TEST_F(custom_sensor_kept_data, the_last_result_is_repeated_by_the_next_sensor) {
  plant_.create(1, with_retain().custom("message_path", "$.s"));
  EXPECT_EQ(plant_.scan_after(R"({"t": 5, "s": "fine"})"), "ok \"fine\" 1=5");
  plant_.host.destroy_sensor(1);
  plant_.create(2, plant_.host.with_kept_data(1, with_retain().custom("message_path", "$.s")));
  EXPECT_EQ(plant_.scan(2), "ok \"fine\" 1=5");

  // The user has switched the duration on, and off again; the host still knows its channel.
  const auto on =
      with_retain().custom("message_path", "$.s").custom("duration_since_last_message", "enable");
  plant_.create(1, plant_.host.with_kept_data(1, on));
  EXPECT_THAT(plant_.scan(), testing::MatchesRegex("ok 0=[0-9]+"));
  plant_.deliver(R"({"t": 6, "s": "warm"})");
  EXPECT_THAT(plant_.scan(), testing::MatchesRegex("ok \"warm\" 0=[0-9]+ 1=6"));
  plant_.create(3, plant_.host.with_kept_data(1, with_retain().custom("message_path", "$.s")));
  EXPECT_EQ(plant_.scan(3), "ok \"warm\" 1=6");
}

TEST_F(custom_sensor_kept_data, is_used_by_a_sensor_of_the_same_topic_paths_and_types_only) {
  const auto both = with_retain().custom("duration_since_last_message", "enable");
  plant_.create(1, host_settings(both).custom("message_path", "$.s"));
  ASSERT_THAT(plant_.scan_after(R"({"t": 5, "s": "fine"})"), testing::EndsWith("1=5"));
  const auto with_kept = [&](host_settings settings, const char* without = "") {
    for (const auto& [key, value] : kept()) {
      settings.persistent(key, key == without ? "" : value);
    }
    return std::move(settings.set("logging", "enabled"));
  };
  const std::string fits = "ok \"fine\" 0=[0-9]+ 1=5";
  const auto same = host_settings(both).custom("message_path", "$.s");
  const std::tuple<const char*, host_settings, std::string> cases[] = {
      {"the same", with_kept(same), fits},
      {"another topic", with_kept(host_settings(same).custom("topic", "plant/pump")), "ok"},
      {"another path", with_kept(host_settings(same).channel(1, "$.u", "absolute_integer")), "ok"},
      {"another message", with_kept(both), "ok"},
      {"another type", with_kept(host_settings(same).channel(1, "$.t", "delta_counter")), "ok"},
      {"one more channel", with_kept(host_settings(same).channel(2, "$.u")), "ok"},
      // As an earlier version has kept it.
      {"no fingerprint", with_kept(same, "fingerprint"), "ok 0=[0-9]+"},
      {"no time", with_kept(same, time_key), "ok \"fine\" 1=5"},
  };
  std::int32_t id = 1;
  for (const auto& [name, settings, shown] : cases) {
    SCOPED_TRACE(name);
    plant_.host.inbox().clear();
    plant_.create(++id, settings);
    EXPECT_THAT(plant_.scan(id), testing::MatchesRegex(shown));
    EXPECT_EQ(plant_.host.inbox().logged(" is ignored: it "), !shown.ends_with("1=5"));
    if (shown == "ok") {  // nor is it there for whoever comes next
      plant_.create(100 + id, plant_.host.with_kept_data(id, settings));
      EXPECT_EQ(plant_.scan(100 + id), "ok");
    }
  }
  // The time since the last message goes on, and is not kept.
  auto counts_on = same;
  for (auto& [key, value] : kept()) {
    counts_on.persistent(key, key == time_key ? new_year_2020 : value);
  }
  plant_.create(50, counts_on);
  EXPECT_THAT(integer_value(plant_.host.scan_result(50), 0).value_or(0),
              is_about(seconds_since_new_year_2020()));
}

TEST_F(custom_sensor_kept_data, that_cannot_be_used_is_ignored_and_the_log_says_so) {
  const std::pair<const char*, std::string> cases[] = {
      {time_key, "yesterday"},
      {time_key, "2020-13-01T00:00:00+00:00"},
      {time_key, "2999-01-01T00:00:00+00:00"},
      {time_key, std::string(new_year_2020) + "!"},
      {time_key, std::string("\xff\0\x01", 3)},
      {result_key, "no result"},
  };
  plant_.create(100, plant_.settings());
  plant_.deliver(R"({"t": 5})");
  plant_.scan(100);
  const auto fingerprint = plant_.host.inbox().persistent_data(100).at("fingerprint");
  std::int32_t id = 0;
  for (const auto& [key, value] : cases) {
    SCOPED_TRACE(std::string(key) + " " + value);
    plant_.host.inbox().clear();
    auto settings = key == time_key ? with_duration() : with_retain();
    settings.set("logging", "enabled").persistent("fingerprint", fingerprint);
    plant_.create(++id, settings.persistent(key, value));
    EXPECT_EQ(plant_.scan(id), "ok");
    EXPECT_TRUE(plant_.host.inbox().logged(key == time_key
                                               ? "The time of the last message is ignored: "
                                               : "The last sensor result is ignored: "));
    plant_.deliver(R"({"t": 6})");
    EXPECT_THAT(plant_.scan(id), testing::EndsWith("1=6"));
    plant_.host.destroy_sensor(id);
  }
}

}  // namespace
}  // namespace kavu_test
