// The connection check says whether a broker can be reached, and its log says why it cannot.

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>

#include "helpers/certificates.hpp"
#include "helpers/loopback_port.hpp"
#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "reliability/slowness.hpp"

namespace kavu_test {
namespace {

using namespace std::chrono_literals;

mosquitto_options guarded() {
  const auto& all = certificates::get();
  mosquitto_options options;
  options.allow_anonymous = false;
  options.users = {{"probe", "right"}};
  options.tls = mosquitto_tls{all.server.file, all.server.key_file};
  return options;
}

/// Takes no connection any more: the few that it has not accepted fill its queue.
class full_listener {
 public:
  full_listener() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(sockets_[0], generic, length), 0);
    EXPECT_EQ(listen(sockets_[0], 0), 0);
    getsockname(sockets_[0], generic, &length);
    port_ = ntohs(address.sin_port);
    for (std::size_t i = 1; i < sockets_.size(); ++i) {
      connect(sockets_[i], generic, length);
    }
  }
  ~full_listener() { std::for_each(sockets_.begin(), sockets_.end(), close); }
  full_listener(const full_listener&) = delete;
  full_listener& operator=(const full_listener&) = delete;
  std::uint16_t port() const { return port_; }

 private:
  static int make() { return socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); }
  std::array<int, 5> sockets_{make(), make(), make(), make(), make()};
  std::uint16_t port_ = 0;
};

TEST(connection_check, is_true_or_says_why_not_in_time) {
  const auto& all = certificates::get();
  mosquitto_broker broker(guarded());
  mosquitto_broker stopped;
  stopped.pause();
  const full_listener full;
  const auto at = [](std::uint16_t port) { return host_settings::connect_check(port); };
  struct {
    host_settings settings;
    bool success;
    const char* log;
  } cases[] = {
      {at(broker.port()).user("probe", "right"), true, "End time tracking after "},
      {at(broker.tls_port()).user("probe", "right").tls(all.authority.pem), true, "Connected to: "},
      {at(broker.port()).user("probe", "hunter2"), false, "Check your credentials for MQTT."},
      {at(broker.port()), false, "Check your credentials for MQTT."},
      {at(broker.tls_port()).tls(all.other_authority.pem), false, "certificate is not trusted: "},
      {at(free_loopback_port()), false, "TCP/TLS connect failure"},
      {at(stopped.port()), false, "TCP connect timeout"},
      {at(stopped.port()), false, "The broker is silent: no answer to CONNECT within "},
      {at(stopped.port()).tls(all.authority.pem), false, "no TLS handshake within "},
      {at(full.port()), false, "no TCP connection within "},
      {at(1883).set("host", "no.such.host.invalid"), false,
       "The host name 'no.such.host.invalid' could not be resolved to an IPv4 address: "},
      {at(broker.port()).user("probe", "right").set("ipversion", "IPv6"), false,
       "The host '127.0.0.1' is not an IPv6 address"},
      {at(broker.tls_port())
           .user("probe", "right")
           .tls(all.authority.pem)
           .set("ipversion", "IPv6")
           .set("host", "localhost"),
       false, "The host name 'localhost' has an IPv4 address, which would be used with TLS"},
  };
  module_host host;
  for (auto& each : cases) {
    host.inbox().clear();
    each.settings.set("timeout", "1").set("logging", "enabled");
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(host.check_succeeds(3, each.settings), each.success) << each.log;
    EXPECT_LT(std::chrono::steady_clock::now() - began, 1s + slowness * 500ms) << each.log;
    EXPECT_TRUE(host.inbox().logged(each.log)) << each.log;
    EXPECT_FALSE(host.inbox().contains("hunter2"));
  }
}

}  // namespace
}  // namespace kavu_test
