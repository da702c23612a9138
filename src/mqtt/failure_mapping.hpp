#pragma once

#include <exception>
#include <string>

#include "liblog/log_interface.hpp"

/// From the numbers of the MQTT library to the failures of exceptions.hpp. Beyond these functions
/// no return code is seen.
namespace brunvik::monitoring_modules::mqtt {

/// The failure for `code`: a return code of the library (-17 to -2), or the broker's refusal of a
/// connection (1 to 5; MQTT 3.1.1, section 3.2.2.3). For any other code the library's
/// `failure_text` decides; it may be null. Does not throw.
std::exception_ptr make_exception_from_code(int code, const char* failure_text) noexcept;

/// Logs the return code of a call into the library, and throws what `make_exception_from_code`
/// gives when it is not 0. `context` says which call it was.
void check_return_code(liblog::log_interface& log, int code, const std::string& error_text,
                       const char* context);

}  // namespace brunvik::monitoring_modules::mqtt
