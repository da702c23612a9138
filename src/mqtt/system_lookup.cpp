#include "mqtt/system_lookup.hpp"

#include <list>
#include <memory>
#include <mutex>

#include "mqtt/numeric_address.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

/// All that the C library holds on to while it looks a name up.
struct question {
  explicit question(std::string host) : name(std::move(host)) {
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
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

#ifdef __SANITIZE_THREAD__
// The C library's own threads are unknown to ThreadSanitizer, which does not survive them.
bool is_answered(std::unique_ptr<question>& asked, clock::time_point /*deadline*/,
                 const std::function<bool()>& /*given_up*/) {
  auto& request = asked->request;
  return getaddrinfo(request.ar_name, nullptr, request.ar_request, &request.ar_result) == 0;
}
#else
/// The C library still writes to a question that is given up. It goes when somebody else asks after
/// its end, or never: what is kept here outlives the module.
void leave_behind(question* asked) {
  static std::mutex mutex;
  static auto& left = *new std::list<question*>;
  const std::lock_guard lock(mutex);
  left.remove_if([](question* each) {
    const bool ended = gai_error(&each->request) != EAI_INPROGRESS;
    if (ended) {
      delete each;
    }
    return ended;
  });
  left.push_back(asked);
}

bool is_answered(std::unique_ptr<question>& asked, clock::time_point deadline,
                 const std::function<bool()>& given_up) {
  gaicb* request = &asked->request;
  if (getaddrinfo_a(GAI_NOWAIT, &request, 1, nullptr) != 0) {
    return false;
  }
  while (gai_error(request) == EAI_INPROGRESS) {
    if (clock::now() < deadline && !given_up()) {
      const timespec slice{.tv_sec = 0, .tv_nsec = std::chrono::nanoseconds(20ms).count()};
      gai_suspend(&request, 1, &slice);
    } else if (gai_cancel(request) == EAI_NOTCANCELED) {
      leave_behind(asked.release());
      return false;
    }
  }
  return gai_error(request) == 0;
}
#endif

}  // namespace

std::vector<std::string> ask_system(const std::string& name, clock::time_point deadline,
                                    const std::function<bool()>& given_up) {
  auto asked = std::make_unique<question>(name);
  if (!is_answered(asked, deadline, given_up)) {
    return {};
  }
  return to_numeric_addresses(asked->request.ar_result);
}

}  // namespace brunvik::monitoring_modules::mqtt
