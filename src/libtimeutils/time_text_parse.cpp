#include <date/date.h>

#include <locale>
#include <optional>
#include <sstream>

#include "libtimeutils/exceptions.hpp"
#include "libtimeutils/time_text.hpp"

namespace brunvik::monitoring_modules::libtimeutils {

namespace {

using fields = date::fields<std::chrono::nanoseconds>;

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
