#include "mqtt/name_lookup.hpp"

#include <ares.h>
#include <arpa/inet.h>
#include <poll.h>

#include <map>
#include <mutex>
#include <optional>

#include "mqtt/exceptions.hpp"
#include "mqtt/numeric_address.hpp"
#include "mqtt/system_lookup.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

std::string describe(const std::string& host, int status) {
  return "The host name '" + host + "' could not be resolved: " + ares_strerror(status);
}

void require(int status, const std::string& host) {
  if (status != ARES_SUCCESS) {
    throw exceptions::client_failure(describe(host, status));
  }
}

// Nobody has answered, as against: the answer is no.
bool is_unanswered(int status) {
  return status == ARES_ETIMEOUT || status == ARES_ECANCELLED || status == ARES_EDESTRUCTION;
}

/// How long to wait for the other kind of address when one is known.
constexpr auto grace = 500ms;

/// A name put to one kind of source: "f", the file of hosts, which answers at once, or "b", the
/// name servers. Ends with the object, answered or not.
class question {
 public:
  question(const std::string& host, std::string source, const std::vector<int>& families)
      : open_(families.size()) {
    static std::once_flag initialised;
    std::call_once(initialised, [] { ares_library_init(ARES_LIB_INIT_ALL); });
    ares_options options{};
    options.sock_state_cb = on_socket;
    options.sock_state_cb_data = this;
    options.lookups = source.data();
    require(ares_init_options(&channel_, &options, ARES_OPT_SOCK_STATE_CB | ARES_OPT_LOOKUPS),
            host);
    for (const int family : families) {
      ares_addrinfo_hints hints{};
      hints.ai_family = family;
      hints.ai_socktype = SOCK_STREAM;
      ares_getaddrinfo(channel_, host.c_str(), nullptr, &hints, on_answer, this);
    }
  }
  ~question() { ares_destroy(channel_); }
  question(const question&) = delete;
  question& operator=(const question&) = delete;

  /// Waits a moment for something to happen.
  void proceed() {
    constexpr int slice_ms = 20;
    std::vector<pollfd> waiting;
    for (const auto& [socket, events] : sockets_) {
      waiting.push_back({socket, events, 0});
    }
    poll(waiting.data(), waiting.size(), slice_ms);
    ares_process_fd(channel_, ARES_SOCKET_BAD, ARES_SOCKET_BAD);
    for (const auto& each : waiting) {
      const bool readable = (each.revents & (POLLIN | POLLERR | POLLHUP)) != 0;
      const bool writable = (each.revents & POLLOUT) != 0;
      ares_process_fd(channel_, readable ? each.fd : ARES_SOCKET_BAD,
                      writable ? each.fd : ARES_SOCKET_BAD);
    }
  }

  /// All has been answered, or there is no such name, or one kind has been answered with an address
  /// and the other is not worth waiting for.
  [[nodiscard]] bool is_answered() const {
    return open_ == 0 || status_ == ARES_ENOTFOUND ||
           (found_at_ && clock::now() >= *found_at_ + grace);
  }
  /// Why there is no address: that there is no such name, or else that somebody has not answered.
  [[nodiscard]] int status() const {
    return open_ == 0 || status_ == ARES_ENOTFOUND ? status_ : int{ARES_ETIMEOUT};
  }
  [[nodiscard]] const std::vector<std::string>& addresses() const { return addresses_; }

 private:
  static void on_answer(void* self, int status, int /*timeouts*/, ares_addrinfo* addresses) {
    auto& asked = *static_cast<question*>(self);
    --asked.open_;
    if (asked.status_ != ARES_ENOTFOUND &&
        (asked.status_ == ARES_SUCCESS || status == ARES_ENOTFOUND || is_unanswered(status))) {
      asked.status_ = status;
    }
    if (addresses != nullptr) {
      const auto known = to_numeric_addresses(addresses->nodes);
      asked.addresses_.insert(asked.addresses_.end(), known.begin(), known.end());
      asked.found_at_ = clock::now();
      ares_freeaddrinfo(addresses);
    }
  }
  static void on_socket(void* self, ares_socket_t socket, int readable, int writable) {
    auto& sockets = static_cast<question*>(self)->sockets_;
    if (readable == 0 && writable == 0) {
      sockets.erase(socket);
    } else {
      sockets[socket] =
          static_cast<short>((readable != 0 ? POLLIN : 0) | (writable != 0 ? POLLOUT : 0));
    }
  }

  ares_channel channel_{};
  std::map<ares_socket_t, short> sockets_;
  std::size_t open_;
  int status_ = ARES_SUCCESS;
  std::vector<std::string> addresses_;
  std::optional<clock::time_point> found_at_;
};

bool is_address(const std::string& host) {
  in6_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 ||
         inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

/// `host` is the name as the user wrote it.
std::vector<std::string> ask_for(const std::string& name, const std::string& host,
                                 clock::time_point deadline,
                                 const std::function<bool()>& given_up) {
  // A name that the file knows is nobody else's business.
  if (auto pinned = question(name, "f", {AF_UNSPEC}).addresses(); !pinned.empty()) {
    return pinned;
  }
  // Each kind on its own: some servers answer the one and ignore the other.
  question asked(name, "b", {AF_INET, AF_INET6});
  while (!asked.is_answered() && !given_up() && clock::now() < deadline) {
    asked.proceed();
  }
  const int status = asked.status();
  auto addresses = asked.addresses();
  if (addresses.empty() && !is_unanswered(status)) {
    addresses = ask_system(name, deadline, given_up);
  }
  if (addresses.empty()) {
    throw exceptions::client_failure(describe(host, status));
  }
  return addresses;
}

}  // namespace

std::vector<std::string> look_up_name(const std::string& host, clock::time_point deadline,
                                      const std::function<bool()>& given_up) {
  const std::string name = without_brackets(host);
  if (name.empty() || name.find('\0') != std::string::npos) {
    throw exceptions::client_failure(describe(host, ARES_EBADNAME));
  }
  if (is_address(name)) {
    return {name};
  }
  if (name == "localhost") {  // RFC 6761, section 6.3: whatever anybody says
    return {"127.0.0.1", "::1"};
  }
  auto addresses = ask_for(name, host, deadline, given_up);
  put_ipv4_first(addresses);
  return addresses;
}

}  // namespace brunvik::monitoring_modules::mqtt
