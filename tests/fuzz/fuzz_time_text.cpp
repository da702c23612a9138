// First line: a format; the rest: a time in it. The first eight bytes are a time as well.

#include <cstring>
#include <ios>
#include <optional>
#include <string>

#include "fuzz/fuzz_input.hpp"
#include "libtimeutils/exceptions.hpp"
#include "libtimeutils/time_text.hpp"

namespace {

namespace time_text = brunvik::monitoring_modules::libtimeutils;
using kavu_test::require;

std::optional<time_text::time_point> parsed(const std::string& text, const std::string& format) {
  std::optional<time_text::time_point> time;
  kavu_test::succeeds<time_text::exceptions::could_not_parse>(
      [&] { time = time_text::parse(text, format); });
  return time;
}

void check_time(time_text::time_point time) {
  for (const char* format : {time_text::iso_8601, "%d.%m.%Y %H:%M:%S"}) {
    require(parsed(time_text::format(time, format), format) == time,
            "a time is read as it was written");
  }
}

void check_format(time_text::time_point time, const std::string& format) {
  kavu_test::succeeds<std::ios_base::failure>(
      [&] { static_cast<void>(time_text::format(time, format)); });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest = kavu_test::as_text(data, size);
  std::int64_t nanoseconds = 0;
  std::memcpy(&nanoseconds, data, std::min(size, sizeof nanoseconds));
  const time_text::time_point any{std::chrono::nanoseconds(nanoseconds)};
  check_time(any);
  const std::string format(kavu_test::take_line(rest));
  check_format(any, format);
  for (const auto& each : {format, std::string(time_text::iso_8601)}) {
    if (const auto time = parsed(std::string(rest), each)) {
      check_time(*time);
      check_format(*time, format);
    }
  }
  return 0;
}
