#include "mqtt/numeric_address.hpp"

#include <algorithm>

namespace brunvik::monitoring_modules::mqtt {

std::string with_brackets(const std::string& address) {
  return family_of(address) == address_family::ipv6 ? "[" + address + "]" : address;
}

std::string without_brackets(const std::string& host) {
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return bracketed ? host.substr(1, host.size() - 2) : host;
}

std::optional<std::string> parse_address(const std::string& text) {
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* parsed = nullptr;
  if (text.empty() || getaddrinfo(text.c_str(), nullptr, &hints, &parsed) != 0) {
    return std::nullopt;
  }
  const auto addresses = to_numeric_addresses(parsed);
  freeaddrinfo(parsed);
  return addresses.empty() ? std::nullopt : std::optional(addresses.front());
}

address_family family_of(const std::string& address) {
  return address.find(':') == std::string::npos ? address_family::ipv4 : address_family::ipv6;
}

int to_socket_family(address_family family) {
  switch (family) {
    case address_family::ipv4:
      return AF_INET;
    case address_family::ipv6:
      return AF_INET6;
    case address_family::any:
      break;
  }
  return AF_UNSPEC;
}

void put_ipv4_first(std::vector<std::string>& addresses) {
  std::stable_partition(addresses.begin(), addresses.end(), [](const auto& address) {
    return family_of(address) == address_family::ipv4;
  });
}

}  // namespace brunvik::monitoring_modules::mqtt
