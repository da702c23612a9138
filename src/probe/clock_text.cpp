#include "probe/clock_text.hpp"

#include <fmt/format.h>

#include <ctime>

namespace kavu_probe {

std::string utc_text(std::chrono::system_clock::time_point time) {
  using namespace std::chrono;
  // In milliseconds, since the first day that there is begins before the first nanosecond.
  const auto instant = floor<milliseconds>(time);
  const auto day = floor<days>(instant);
  const year_month_day date(day);
  const hh_mm_ss clock(instant - day);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count(),
                     clock.subseconds().count());
}

std::string local_time_of_day(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm local{};
  localtime_r(&seconds, &local);
  return fmt::format("{:02}:{:02}:{:02}", local.tm_hour, local.tm_min, local.tm_sec);
}

}  // namespace kavu_probe
