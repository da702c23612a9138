#pragma once

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace brunvik::monitoring_modules::mqtt {

inline bool is_ipv4(const std::string& address) {
  return address.find(':') == std::string::npos;
}

/// The addresses of a list of `addrinfo`, or of what looks like it, as text, IPv4 first.
template <class Node>
std::vector<std::string> to_numeric_addresses(const Node* first) {
  std::vector<std::string> addresses;
  for (const Node* node = first; node != nullptr; node = node->ai_next) {
    std::array<char, NI_MAXHOST> text{};
    if (node->ai_addr != nullptr &&
        getnameinfo(node->ai_addr, static_cast<socklen_t>(node->ai_addrlen), text.data(),
                    text.size(), nullptr, 0, NI_NUMERICHOST) == 0) {
      addresses.emplace_back(text.data());
    }
  }
  std::stable_partition(addresses.begin(), addresses.end(), is_ipv4);
  return addresses;
}

}  // namespace brunvik::monitoring_modules::mqtt
