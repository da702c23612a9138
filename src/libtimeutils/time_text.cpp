#include "libtimeutils/time_text.hpp"

#include <date/date.h>

#include <locale>
#include <optional>
#include <sstream>

#include "libtimeutils/exceptions.hpp"

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

// The library's own sum of date, time and offset wraps around silently.
std::optional<time_point> join(const fields& parsed, std::chrono::minutes offset) {
  if (!parsed.ymd.ok() || !parsed.tod.in_conventional_range()) {
    return std::nullopt;
  }
  const std::chrono::seconds midnight = date::sys_days(parsed.ymd).time_since_epoch() - offset;
  const std::chrono::nanoseconds time_of_day = parsed.tod.to_duration();
  // Before 1970 the whole day may be out of range and only its last hours in it, so that seconds
  // and nanoseconds are made to have the same sign before they are joined.
  auto whole = midnight + std::chrono::duration_cast<std::chrono::seconds>(time_of_day);
  auto rest = time_of_day % std::chrono::seconds(1);
  if (whole.count() < 0 && rest.count() > 0) {
    whole += std::chrono::seconds(1);
    rest -= std::chrono::seconds(1);
  }
  std::chrono::nanoseconds::rep nanoseconds = 0;
  if (__builtin_mul_overflow(whole.count(), std::nano::den, &nanoseconds) ||
      __builtin_add_overflow(nanoseconds, rest.count(), &nanoseconds)) {
    return std::nullopt;
  }
  return time_point(std::chrono::nanoseconds(nanoseconds));
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

time_point parse(const std::string& text, const std::string& format_string) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  fields parsed;
  std::chrono::minutes offset{0};
  date::from_stream(stream, format_string.c_str(), parsed, static_cast<std::string*>(nullptr),
                    &offset);
  if (!stream.fail() && stream.peek() == std::istringstream::traits_type::eof()) {
    if (const auto time = join(parsed, offset)) {
      return *time;
    }
  }
  throw exceptions::could_not_parse(text, format_string);
}

}  // namespace brunvik::monitoring_modules::libtimeutils
