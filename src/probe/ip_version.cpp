#include "probe/ip_version.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "probe/connection_settings.hpp"
#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// The module asks again, so a silent name server costs this on top of the connection's time-out.
constexpr std::chrono::milliseconds longest_question{1000};
constexpr std::chrono::milliseconds shortest_question{100};

/// All that the C library holds on to while it looks a name up (getaddrinfo_a(3)).
struct question {
  explicit question(std::string host) : name(std::move(host)) {
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_ADDRCONFIG;
    request.ar_name = name.c_str();
    request.ar_request = &hints;
  }
  ~question() {
    if (request.ar_result != nullptr) {
      freeaddrinfo(request.ar_result);
    }
  }
  question(const question&) = delete;
  question& operator=(const question&) = delete;

  std::string name;
  addrinfo hints{};
  gaicb request{};
};

/// The C library goes on with a question that cannot be cancelled, so it stays until the process
/// ends.
void leave_behind(std::unique_ptr<question> asked) {
  static auto& left = *new std::vector<std::unique_ptr<question>>;
  left.push_back(std::move(asked));
}

ip_version ask(const std::string& name, steady_clock::time_point deadline,
               const std::stop_token& stop) {
  auto asked = std::make_unique<question>(name);
  gaicb* const request = &asked->request;
  gaicb* requests[] = {request};
  if (getaddrinfo_a(GAI_NOWAIT, requests, 1, nullptr) != 0) {
    return ip_version::automatic;
  }
  while (gai_error(request) == EAI_INPROGRESS) {
    if (steady_clock::now() >= deadline || stop.stop_requested()) {
      // One that is taken back before anybody has begun with it stays "in progress" for good.
      if (gai_cancel(request) == EAI_NOTCANCELED) {
        leave_behind(std::move(asked));
      }
      return ip_version::automatic;
    }
    const timespec slice{0, std::chrono::nanoseconds(20ms).count()};
    gai_suspend(requests, 1, &slice);
  }
  return gai_error(request) == 0 ? choose_version(request->ar_result) : ip_version::automatic;
}

}  // namespace

ip_version literal_version(const std::string& host) {
  in_addr ipv4{};
  if (inet_pton(AF_INET, host.c_str(), &ipv4) == 1) {
    return ip_version::ipv4;
  }
  // An address of one link carries its interface behind a percent sign (RFC 4007).
  in6_addr ipv6{};
  return inet_pton(AF_INET6, host.substr(0, host.find('%')).c_str(), &ipv6) == 1
             ? ip_version::ipv6
             : ip_version::automatic;
}

ip_version choose_version(const addrinfo* addresses) {
  ip_version chosen = ip_version::automatic;
  for (const addrinfo* each = addresses; each != nullptr; each = each->ai_next) {
    if (each->ai_family == AF_INET) {
      return ip_version::ipv4;
    }
    if (each->ai_family == AF_INET6) {
      chosen = ip_version::ipv6;
    }
  }
  return chosen;
}

ip_version resolve_version(const connection_options& options, const std::stop_token& stop) {
  if (options.ip != ip_version::automatic ||
      make_host_address(options.host).version != ip_version::automatic) {
    return options.ip;
  }
  const auto bound = std::clamp<std::chrono::milliseconds>(
      std::chrono::seconds(options.timeout_s) / 2, shortest_question, longest_question);
  const ip_version found = ask(options.host, steady_clock::now() + bound, stop);
  if (stop.stop_requested()) {
    throw stopped();
  }
  return found == ip_version::automatic ? ip_version::ipv4 : found;
}

}  // namespace kavu_probe
