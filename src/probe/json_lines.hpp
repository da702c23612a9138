#pragma once

#include <string>

#include "probe/report.hpp"

// Reports as JSON objects, one line each, without the line end. Always valid JSON in UTF-8:
// bytes that are no UTF-8 are replaced. Integers are exact, doubles read back as the same double.
namespace kavu_probe {

std::string to_json_line(const scan_report& report);
std::string to_json_line(const check_report& report);
std::string to_json_line(const notification_report& report);

}  // namespace kavu_probe
