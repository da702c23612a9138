#include "helpers/loopback_port.hpp"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <stdexcept>

namespace kavu_test {
namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int first_outgoing_port() {
  std::ifstream range("/proc/sys/net/ipv4/ip_local_port_range");
  int first = 32768;
  range >> first;
  return first;
}

}  // namespace

std::uint16_t free_loopback_port() {
  constexpr int lowest = 10'000;
  const int highest = std::max(first_outgoing_port() - 1, lowest + 1'000);
  static thread_local std::mt19937 generator{std::random_device{}()};
  std::uniform_int_distribution<int> choose(lowest, highest);
  for (int attempt = 0; attempt < 1'000; ++attempt) {
    const auto port = static_cast<std::uint16_t>(choose(generator));
    if (const int descriptor = listen_on_loopback(port); descriptor >= 0) {
      ::close(descriptor);
      return port;
    }
  }
  throw std::runtime_error("no free loopback port");
}

int listen_on_loopback(std::uint16_t port) {
  const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  // Connections of an earlier broker that are still in TIME_WAIT do not count.
  const int on = 1;
  ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in address = loopback(port);
  if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(descriptor, 1024) != 0) {
    ::close(descriptor);
    return -1;
  }
  return descriptor;
}

bool accepts_connections(std::uint16_t port) {
  const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  const bool accepted =
      ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(descriptor);
  return accepted;
}

}  // namespace kavu_test
