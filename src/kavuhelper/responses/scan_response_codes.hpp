#pragma once

#include <cstdint>

namespace brunvik::monitoring_modules::libkavuhelper::responses {

/// How a scan went, as the host shows it. The numbers are those of the wire.
enum class scan_response_codes : std::int32_t {
  ok = 0,
  warning = 1,
  /// The answer was wrong, or there was none.
  wrong_answer = 2,
  error = 3,
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::responses
