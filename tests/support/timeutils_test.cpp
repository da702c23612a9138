#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <locale>
#include <random>
#include <string>

#include "libtimeutils/exceptions.hpp"
#include "libtimeutils/stopwatch.hpp"
#include "libtimeutils/time_text.hpp"

namespace brunvik::monitoring_modules::libtimeutils {
namespace {

time_point at(std::int64_t nanoseconds) {
  return time_point(std::chrono::nanoseconds(nanoseconds));
}

constexpr auto earliest = std::numeric_limits<std::int64_t>::min();
constexpr auto latest = std::numeric_limits<std::int64_t>::max();

struct hand_clock {
  using time_point = std::chrono::system_clock::time_point;
  static inline time_point time;
  static time_point now() { return time; }
};

TEST(stopwatch_test, counts_whole_milliseconds_cut_off_towards_zero) {
  using namespace std::chrono_literals;
  hand_clock::time = hand_clock::time_point(1000s);
  basic_stopwatch<hand_clock> watch;
  EXPECT_EQ(watch.stop(), 0);

  EXPECT_EQ(watch.restart(), hand_clock::time);
  hand_clock::time += 1999us;
  EXPECT_EQ(watch.elapsed_ms(), 1);
  EXPECT_EQ(watch.stop(), 1);
  hand_clock::time += 1h;
  EXPECT_EQ(watch.elapsed_ms(), 1) << "a stopped watch stands still";

  watch.restart();
  hand_clock::time -= 1999us;
  EXPECT_EQ(watch.stop(), -1) << "the clock was set back";
  EXPECT_GE(stopwatch().stop(), 0);
}

TEST(time_text_test, formats_any_time_in_utc) {
  const struct {
    std::int64_t nanoseconds;
    std::string format_string, text;
  } cases[] = {
      {0, iso_8601, "1970-01-01T00:00:00.000000000+00:00"},
      {1709294405250000000, iso_8601, "2024-03-01T12:00:05.250000000+00:00"},
      {-1, iso_8601, "1969-12-31T23:59:59.999999999+00:00"},
      {-2203891200000000001, "%F", "1900-02-28"},
      {earliest, iso_8601, "1677-09-21T00:12:43.145224192+00:00"},
      {latest, iso_8601, "2262-04-11T23:47:16.854775807+00:00"},
      {0, "%A, %d %B %Y %Z %% %z", "Thursday, 01 January 1970 UTC % +0000"},
  };
  for (const auto& [nanoseconds, format_string, text] : cases) {
    EXPECT_EQ(format(at(nanoseconds), format_string), text);
  }
}

TEST(time_text_test, reads_times_and_takes_their_offset_into_account) {
  const struct {
    std::string text, format_string;
    std::int64_t nanoseconds;
  } cases[] = {
      {"2024-03-01T12:00:05.250000000+00:00", iso_8601, 1709294405250000000},
      {"2024-03-01T12:00:05.25+01:30", iso_8601, 1709289005250000000},
      {"2024-03-01T12:00:05-00:30", iso_8601, 1709296205000000000},
      {"1677-09-21T00:12:43.145224192+00:00", iso_8601, earliest},
      {"2262-04-11T23:47:16.854775807+00:00", iso_8601, latest},
      {"2262-04-12T01:47:16.854775807+02:00", iso_8601, latest},
      {"29 Feb 2024", "%d %b %Y", 1709164800000000000},
  };
  for (const auto& [text, format_string, nanoseconds] : cases) {
    EXPECT_EQ(parse(text, format_string), at(nanoseconds)) << text;
  }
}

TEST(time_text_test, refuses_what_is_no_time_or_none_that_fits) {
  for (const std::string text :
       {"yesterday", "", "2024-03-01T12:00:05", "2024-03-01T12:00:05+00:00 and more",
        "2024-03-01T12:00:05+00:00\n", " 2024-03-01T12:00:05+00:00", "2024-02-30T00:00:00+00:00",
        "2023-02-29T00:00:00+00:00", "2024-03-01T24:00:00+00:00", "2024-03-01T12:60:00+00:00",
        "1677-09-21T00:12:43.145224191+00:00", "2262-04-11T23:47:16.854775808+00:00",
        "2262-04-11T23:00:00-01:00", "9999-01-01T00:00:00+00:00", "-2024-01-01T00:00:00+00:00",
        "99999999999-01-01T00:00:00+00:00"}) {
    EXPECT_THROW((void)parse(text, iso_8601), exceptions::could_not_parse) << text;
  }
  EXPECT_THROW((void)parse(std::string("2024-03-01\0", 11), "%F"), exceptions::could_not_parse);
  EXPECT_THROW((void)parse("12:00", "%R"), exceptions::could_not_parse) << "a time without a date";
  try {
    (void)parse("yesterday", iso_8601);
    FAIL();
  } catch (const exceptions::exception& failure) {
    EXPECT_THAT(failure.what(), testing::HasSubstr("\"yesterday\""));
  }
}

TEST(time_text_test, random_times_survive_the_way_there_and_back) {
  std::mt19937_64 random(1970);
  for (int round = 0; round < 2000; ++round) {
    const auto time = at(static_cast<std::int64_t>(random()));
    ASSERT_EQ(parse(format(time, iso_8601), iso_8601), time) << time.time_since_epoch().count();
  }
}

// A host in another country sets such a locale for the whole process.
TEST(time_text_test, does_not_depend_on_the_locale_of_the_process) {
  struct decimal_comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
  };
  const auto before = std::locale::global(std::locale(std::locale::classic(), new decimal_comma));
  const auto text = format(at(1709294405250000000), iso_8601);
  const auto time = parse("2024-03-01T12:00:05.250000000+00:00", iso_8601);
  std::locale::global(before);
  EXPECT_EQ(text, "2024-03-01T12:00:05.250000000+00:00");
  EXPECT_EQ(time, at(1709294405250000000));
}

}  // namespace
}  // namespace brunvik::monitoring_modules::libtimeutils
