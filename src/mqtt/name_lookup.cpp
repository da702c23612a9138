#include "mqtt/name_lookup.hpp"

#include <ares.h>
#include <poll.h>
#include <strings.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "mqtt/exceptions.hpp"
#include "mqtt/numeric_address.hpp"
#include "mqtt/system_lookup.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

std::string with_article(address_family family) {
  return family == address_family::ipv4 ? "an IPv4 address" : "an IPv6 address";
}

/// `host` is the name as the user wrote it.
[[noreturn]] void fail(const std::string& host, address_family family, const std::string& reason) {
  throw exceptions::client_failure(
      "The host name '" + host + "' could not be resolved" +
      (family == address_family::any ? "" : " to " + with_article(family)) + ": " + reason);
}

/// How long to wait for the other kind of address when one is known.
constexpr auto grace = 500ms;
/// How long to wait for something to happen before looking whether it has.
constexpr auto slice = 10ms;

/// The kinds of addresses that are asked for: some servers answer the one and ignore the other.
std::vector<address_family> each_of(address_family wanted) {
  if (wanted == address_family::any) {
    return {address_family::ipv4, address_family::ipv6};
  }
  return {wanted};
}

/// A name put to one kind of source: "f", the file of hosts, which answers at once, or "b", the
/// name servers. Ends with the object, answered or not.
class question {
 public:
  question(const std::string& host, std::string source, const std::vector<address_family>& families)
      : open_(families.size()) {
    static std::once_flag initialised;
    std::call_once(initialised, [] { ares_library_init(ARES_LIB_INIT_ALL); });
    ares_options options{};
    options.sock_state_cb = on_socket;
    options.sock_state_cb_data = this;
    options.lookups = source.data();
    status_ = ares_init_options(&channel_, &options, ARES_OPT_SOCK_STATE_CB | ARES_OPT_LOOKUPS);
    if (status_ != ARES_SUCCESS) {
      channel_ = nullptr;
      open_ = 0;
      return;
    }
    for (const auto family : families) {
      ares_addrinfo_hints hints{};
      hints.ai_family = to_socket_family(family);
      hints.ai_socktype = SOCK_STREAM;
      ares_getaddrinfo(channel_, host.c_str(), nullptr, &hints, on_answer, this);
    }
  }
  ~question() {
    if (channel_ != nullptr) {
      ares_destroy(channel_);
    }
  }
  question(const question&) = delete;
  question& operator=(const question&) = delete;

  /// Waits a moment for something to happen.
  void proceed() {
    std::vector<pollfd> waiting;
    for (const auto& [socket, events] : sockets_) {
      waiting.push_back({socket, events, 0});
    }
    poll(waiting.data(), waiting.size(), slice.count());
    ares_process_fd(channel_, ARES_SOCKET_BAD, ARES_SOCKET_BAD);
    for (const auto& each : waiting) {
      const bool readable = (each.revents & (POLLIN | POLLERR | POLLHUP)) != 0;
      const bool writable = (each.revents & POLLOUT) != 0;
      ares_process_fd(channel_, readable ? each.fd : ARES_SOCKET_BAD,
                      writable ? each.fd : ARES_SOCKET_BAD);
    }
  }

  /// All has been answered, or there is no such name.
  [[nodiscard]] bool has_ended() const { return open_ == 0 || status_ == ARES_ENOTFOUND; }
  /// Why there is no address: that there is no such name, or else that somebody has not answered.
  [[nodiscard]] std::string failure() const {
    return ares_strerror(has_ended() ? status_ : int{ARES_ETIMEOUT});
  }
  [[nodiscard]] const std::vector<std::string>& addresses() const { return addresses_; }

 private:
  // Nobody has answered, as against: the answer is no.
  static bool is_unanswered(int status) {
    return status == ARES_ETIMEOUT || status == ARES_ECANCELLED || status == ARES_EDESTRUCTION;
  }
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
};

/// What is known so far: of each family that is wanted what its first source has said.
class findings {
 public:
  explicit findings(address_family wanted) : missing_(each_of(wanted)) {}

  void add(const std::vector<std::string>& addresses) {
    const auto still_missing = missing_;
    for (const auto& address : addresses) {
      if (std::ranges::count(still_missing, family_of(address)) != 0) {
        addresses_.push_back(address);
        std::erase(missing_, family_of(address));
      }
    }
    if (!addresses_.empty() && !found_at_) {
      found_at_ = clock::now();
    }
  }
  /// There is one of each family, or the other is not worth waiting for.
  [[nodiscard]] bool suffice() const {
    return missing_.empty() || (found_at_ && clock::now() >= *found_at_ + grace);
  }
  [[nodiscard]] const std::vector<std::string>& addresses() const { return addresses_; }

 private:
  std::vector<address_family> missing_;
  std::vector<std::string> addresses_;
  std::optional<clock::time_point> found_at_;
};

/// A name put to the name servers and to the system's other sources at the same time.
class search {
 public:
  search(const std::string& name, address_family family) : found_(family) {
    const bool is_local = is_multicast_name(name);
    if (!is_local) {
      at_name_servers_.emplace(name, "b", each_of(family));
    }
    if (!is_local || has_other_sources_of_names()) {
      in_system_.emplace(name, family);
    }
  }

  void proceed() {
    if (at_name_servers_ && !at_name_servers_->has_ended()) {
      at_name_servers_->proceed();
    } else {
      std::this_thread::sleep_for(slice);
    }
  }
  /// Found, or everybody has said that there is nothing to be found.
  [[nodiscard]] bool has_ended() {
    collect();
    return found_.suffice() || ((!at_name_servers_ || at_name_servers_->has_ended()) &&
                                (!in_system_ || in_system_->has_ended()));
  }
  [[nodiscard]] const std::vector<std::string>& addresses() const { return found_.addresses(); }
  [[nodiscard]] std::string failure() const {
    const bool system_is_silent = in_system_ && !in_system_->has_ended();
    if (at_name_servers_) {
      return at_name_servers_->failure() +
             (system_is_silent ? "; the system's other sources have not answered in time" : "");
    }
    return system_is_silent ? "no answer in time"
           : in_system_     ? in_system_->failure()
                            : "the system has no source for names in \".local\"";
  }

 private:
  // RFC 6762, section 3
  static bool is_multicast_name(const std::string& name) {
    for (const std::string_view ending : {".local", ".local."}) {
      if (name.size() >= ending.size() &&
          strcasecmp(name.c_str() + name.size() - ending.size(), ending.data()) == 0) {
        return true;
      }
    }
    return false;
  }
  void collect() {
    if (at_name_servers_) {
      found_.add(at_name_servers_->addresses());
    }
    if (in_system_ && in_system_->has_ended()) {
      found_.add(in_system_->addresses());
    }
  }

  findings found_;
  std::optional<question> at_name_servers_;
  std::optional<system_lookup> in_system_;
};

std::vector<std::string> ask_for(const std::string& name, const std::string& host,
                                 address_family family, clock::time_point deadline,
                                 const std::function<bool()>& given_up) {
  // A name that the file knows is nobody else's business.
  if (auto pinned = question(name, "f", {family}).addresses(); !pinned.empty()) {
    return pinned;
  }
  search everywhere(name, family);
  while (!everywhere.has_ended() && !given_up() && clock::now() < deadline) {
    everywhere.proceed();
  }
  if (everywhere.addresses().empty()) {
    fail(host, family, everywhere.failure());
  }
  return everywhere.addresses();
}

std::string to_name(const std::string& host, address_family family) {
  std::string name = without_brackets(host);
  if (name.empty() || name.find('\0') != std::string::npos) {
    fail(host, family, ares_strerror(ARES_EBADNAME));
  }
  return name;
}

}  // namespace

std::vector<std::string> look_up_name(const std::string& host, address_family family,
                                      clock::time_point deadline,
                                      const std::function<bool()>& given_up) {
  const std::string name = to_name(host, family);
  if (const auto literal = parse_address(name)) {
    if (family != address_family::any && family_of(*literal) != family) {
      throw exceptions::client_failure("The host '" + host + "' is not " + with_article(family) +
                                       ", which the setting \"ipversion\" demands.");
    }
    return {*literal};
  }
  if (strcasecmp(name.c_str(), "localhost") == 0 ||
      strcasecmp(name.c_str(), "localhost.") ==
          0) {  // RFC 6761, section 6.3: whatever anybody says
    findings loopback(family);
    loopback.add({"127.0.0.1", "::1"});
    return loopback.addresses();
  }
  auto addresses = ask_for(name, host, family, deadline, given_up);
  put_ipv4_first(addresses);
  return addresses;
}

std::vector<std::string> foresee_address(const std::string& host, address_family family,
                                         clock::time_point deadline,
                                         const std::function<bool()>& given_up) {
  const bool is_name = !parse_address(to_name(host, family));
  const bool may_be_overruled = is_name && family == address_family::ipv6;
  auto addresses =
      look_up_name(host, may_be_overruled ? address_family::any : family, deadline, given_up);
  const auto taken = family_of(addresses.front());
  const bool has_choice = std::ranges::count_if(addresses, [&](const auto& each) {
                            return family_of(each) == taken;
                          }) > 1;
  addresses = {has_choice ? std::string() : addresses.front()};
  if (may_be_overruled && taken != family) {
    throw exceptions::client_failure(
        "The host name '" + host +
        "' has an IPv4 address, which would be used with TLS although the setting \"ipversion\" "
        "demands IPv6. Set a name that has no other, or, without a CA certificate, the IPv6 "
        "address.");
  }
  return addresses;
}

}  // namespace brunvik::monitoring_modules::mqtt
