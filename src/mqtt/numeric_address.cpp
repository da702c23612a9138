#include "mqtt/numeric_address.hpp"

#include <algorithm>

namespace brunvik::monitoring_modules::mqtt {
namespace {

bool is_ipv6(const std::string& address) {
  return address.find(':') != std::string::npos;
}

}  // namespace

std::string with_brackets(const std::string& address) {
  return is_ipv6(address) ? "[" + address + "]" : address;
}

std::string without_brackets(const std::string& host) {
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return bracketed ? host.substr(1, host.size() - 2) : host;
}

void put_ipv4_first(std::vector<std::string>& addresses) {
  std::stable_partition(addresses.begin(), addresses.end(),
                        [](const auto& address) { return !is_ipv6(address); });
}

}  // namespace brunvik::monitoring_modules::mqtt
