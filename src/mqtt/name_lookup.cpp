#include "mqtt/name_lookup.hpp"

#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <list>
#include <memory>
#include <mutex>
#include <string_view>

#include "mqtt/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using namespace std::chrono_literals;

/// One look-up. The resolver's thread writes into it, so it must stay where it is until it is done.
class lookup {
 public:
  explicit lookup(std::string host) : host_(std::move(host)) {
    hints_.ai_socktype = SOCK_STREAM;
    request_.ar_name = host_.c_str();
    request_.ar_request = &hints_;
  }
  lookup(const lookup&) = delete;
  lookup& operator=(const lookup&) = delete;
  ~lookup() {
    if (request_.ar_result != nullptr) {
      freeaddrinfo(request_.ar_result);
    }
  }

  /// 0, or an error of getaddrinfo.
  int start() {
    gaicb* requests[] = {&request_};
    return getaddrinfo_a(GAI_NOWAIT, requests, 1, nullptr);
  }

  void wait(std::chrono::milliseconds limit) {
    const gaicb* const requests[] = {&request_};
    const timespec slice{limit.count() / 1000, (limit.count() % 1000) * 1'000'000};
    gai_suspend(requests, 1, &slice);
  }

  /// EAI_INPROGRESS, or how it ended.
  int result() { return gai_error(&request_); }

  bool cancel() { return gai_cancel(&request_) != EAI_NOTCANCELED; }

 private:
  std::string host_;
  addrinfo hints_{};
  gaicb request_{};
};

/// Look-ups that were given up but still run. Those that have ended are freed when the next one
/// comes; what still runs when the library is unloaded is left to the C library's thread.
class abandoned_lookups {
 public:
  void take(std::unique_ptr<lookup> running) {
    const std::lock_guard lock(mutex_);
    lookups_.push_back(running.release());
  }
  void sweep() {
    const std::lock_guard lock(mutex_);
    std::erase_if(lookups_, [](lookup* each) {
      const bool ended = each->result() != EAI_INPROGRESS;
      if (ended) {
        delete each;
      }
      return ended;
    });
  }

 private:
  std::mutex mutex_;
  std::list<lookup*> lookups_;
};

abandoned_lookups& abandoned() {
  static abandoned_lookups instance;
  return instance;
}

bool is_address(const std::string& host) {
  in6_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 ||
         inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

std::string without_brackets(const std::string& host) {
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return bracketed ? host.substr(1, host.size() - 2) : host;
}

[[noreturn]] void throw_unresolved(const std::string& host, int error) {
  throw exceptions::client_failure("The host name '" + host +
                                   "' could not be resolved: " + gai_strerror(error));
}

}  // namespace

void require_resolvable(const std::string& host, std::chrono::milliseconds limit,
                        const std::function<bool()>& given_up) {
  abandoned().sweep();
  const std::string name = without_brackets(host);
  if (name.empty() || name.find('\0') != std::string::npos) {
    throw_unresolved(host, EAI_NONAME);
  }
  if (is_address(name)) {
    return;
  }
  auto request = std::make_unique<lookup>(name);
  if (const int error = request->start(); error != 0) {
    throw_unresolved(host, error);
  }
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (request->result() == EAI_INPROGRESS) {
    if (given_up() || std::chrono::steady_clock::now() >= deadline) {
      if (!request->cancel()) {
        abandoned().take(std::move(request));
      }
      throw exceptions::tcp_connection_timeout();
    }
    request->wait(20ms);
  }
  if (const int error = request->result(); error != 0) {
    throw_unresolved(host, error);
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
