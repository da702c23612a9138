#pragma once

#include <netdb.h>
#include <sys/socket.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "mqtt/address_family.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// An address as it stands in a URI: one of IPv6 in brackets (RFC 3986, section 3.2.2).
std::string with_brackets(const std::string& address);
/// A host of a URI as it is looked up and compared: without the brackets, if it has some.
std::string without_brackets(const std::string& host);

/// The address that a text without brackets stands for, written as the C library writes it; nothing
/// when it is a name. Asks nobody.
std::optional<std::string> parse_address(const std::string& text);

/// Of an address as text: `ipv4` or `ipv6`.
address_family family_of(const std::string& address);
/// As the C library calls it: AF_UNSPEC, AF_INET or AF_INET6.
int to_socket_family(address_family family);

/// Sorts addresses: those of IPv4 first, otherwise in the order in which they came.
void put_ipv4_first(std::vector<std::string>& addresses);

/// The addresses of a list of `addrinfo`, or of what looks like it, as text.
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
  return addresses;
}

}  // namespace brunvik::monitoring_modules::mqtt
