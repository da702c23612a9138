#pragma once

/// How urgent a log line is: the smaller, the more severe (the levels of RFC 5424, section 6.2.1).
namespace brunvik::monitoring_modules::liblog::severity {

inline constexpr int emergency = 0;
inline constexpr int alert = 1;
inline constexpr int critical = 2;
inline constexpr int error = 3;
inline constexpr int warning = 4;
inline constexpr int notice = 5;
inline constexpr int info = 6;
inline constexpr int debug = 7;

}  // namespace brunvik::monitoring_modules::liblog::severity
