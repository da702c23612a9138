#include "libtimeutils/time_text.hpp"

#include <date/date.h>

#include <limits>
#include <locale>
#include <sstream>

#include "libtimeutils/exceptions.hpp"

namespace brunvik::monitoring_modules::libtimeutils {

std::string format(time_point time, const std::string& format_string) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream.exceptions(std::ios_base::badbit | std::ios_base::failbit);
  date::to_stream(stream, format_string.c_str(), time);
  return stream.str();
}

time_point parse(const std::string& text, const std::string& format_string) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  time_point time;
  date::from_stream(stream, format_string.c_str(), time);
  if (stream.fail() || stream.peek() != std::istringstream::traits_type::eof()) {
    throw exceptions::could_not_parse(text, format_string);
  }
  return time;
}

}  // namespace brunvik::monitoring_modules::libtimeutils
