#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// What the fuzzers share: each is one function that takes any bytes and ends the process when
/// something is wrong.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace kavu_test {

inline void require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "Does not hold: %s\n", what);
    std::abort();
  }
}

/// Whether `act` came to its end. Nothing but a `Failure` may be thrown.
template <class Failure, class Act>
bool succeeds(Act&& act) {
  try {
    act();
    return true;
  } catch (const Failure&) {
    return false;
  }
}

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Takes what stands before the first `end` off the front of `text`; without one, all of it.
inline std::string_view take_until(std::string_view& text, std::string_view end) {
  const auto found = text.find(end);
  const auto taken = text.substr(0, found);
  text.remove_prefix(found == std::string_view::npos ? text.size() : found + end.size());
  return taken;
}

inline std::string_view take_line(std::string_view& text) {
  return take_until(text, "\n");
}

}  // namespace kavu_test
