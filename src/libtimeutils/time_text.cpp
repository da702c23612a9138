#include "libtimeutils/time_text.hpp"

#include <date/date.h>

#include <locale>
#include <sstream>

namespace brunvik::monitoring_modules::libtimeutils {

namespace {

using fields = date::fields<std::chrono::nanoseconds>;

// The library's own way to a date and a time of day overflows on the first day that there is.
fields split(time_point time) {
  constexpr auto per_second = std::nano::den;
  const auto nanoseconds = time.time_since_epoch().count();
  const auto rest = (nanoseconds % per_second + per_second) % per_second;
  const std::chrono::seconds whole(nanoseconds / per_second -
                                   (nanoseconds % per_second < 0 ? 1 : 0));
  const auto day = std::chrono::floor<date::days>(whole);
  return {date::year_month_day(date::sys_days(day)),
          date::hh_mm_ss<std::chrono::nanoseconds>(whole - day + std::chrono::nanoseconds(rest))};
}

}  // namespace

std::string format(time_point time, const std::string& format_string) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
  const std::string utc = "UTC";
  constexpr std::chrono::seconds no_offset{0};
  date::to_stream(stream, format_string.c_str(), split(time), &utc, &no_offset);
  return stream.str();
}

}  // namespace brunvik::monitoring_modules::libtimeutils
