#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace brunvik::monitoring_modules::mqtt {

/// Asks the system's resolver for a host, as `look_up_name` does; empty when it knows no address or
/// does not answer in time. The resolver cannot be interrupted: what has not ended goes on inside
/// the C library and keeps a few hundred bytes until it has and somebody asks again. [any-thread]
std::vector<std::string> ask_system(const std::string& name,
                                    std::chrono::steady_clock::time_point deadline,
                                    const std::function<bool()>& given_up);

}  // namespace brunvik::monitoring_modules::mqtt
