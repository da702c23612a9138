#include "mqtt/system_lookup.hpp"

#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

#include "mqtt/numeric_address.hpp"

#ifdef __SANITIZE_THREAD__
#include <future>
#endif

namespace brunvik::monitoring_modules::mqtt {
namespace {

/// All that the C library holds on to while it looks a name up.
struct request {
  request(std::string host, address_family family) : name(std::move(host)) {
    hints.ai_family = to_socket_family(family);
    hints.ai_socktype = SOCK_STREAM;
    control.ar_name = name.c_str();
    control.ar_request = &hints;
  }
  ~request() {
    if (control.ar_result != nullptr) {
      freeaddrinfo(control.ar_result);
    }
  }
  request(const request&) = delete;
  request& operator=(const request&) = delete;

  std::string name;
  addrinfo hints{};
  gaicb control{};
};

}  // namespace

#ifdef __SANITIZE_THREAD__
// ThreadSanitizer does not survive the C library's own threads, so here it is one of ours, which
// the end of the process waits for.
class system_lookup::question {
 public:
  question(const std::string& name, address_family family)
      : request_(name, family), code_(std::async(std::launch::async, [&control = request_.control] {
                                        return getaddrinfo(control.ar_name, nullptr,
                                                           control.ar_request, &control.ar_result);
                                      }).share()) {}

  bool has_ended() const {
    return code_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  }
  bool can_go() const { return has_ended(); }
  int code() const { return code_.get(); }
  const addrinfo* result() const { return request_.control.ar_result; }

 private:
  request request_;
  std::shared_future<int> code_;
};
#else
class system_lookup::question {
 public:
  question(const std::string& name, address_family family)
      : request_(std::make_unique<request>(name, family)) {
    gaicb* control = &request_->control;
    start_ = getaddrinfo_a(GAI_NOWAIT, &control, 1, nullptr);
  }
  ~question() {
    if (!can_go()) {
      // The C library still writes to it.
      static_cast<void>(request_.release());
    }
  }
  question(const question&) = delete;
  question& operator=(const question&) = delete;

  bool has_ended() const { return code() != EAI_INPROGRESS; }
  /// Takes it back if nobody has begun to look.
  bool can_go() { return has_ended() || gai_cancel(&request_->control) != EAI_NOTCANCELED; }
  int code() const { return start_ != 0 ? start_ : gai_error(&request_->control); }
  const addrinfo* result() const { return code() == 0 ? request_->control.ar_result : nullptr; }

 private:
  std::unique_ptr<request> request_;
  int start_ = 0;
};
#endif

namespace {

/// What is being looked up, given up or not. These two need no destructor: a client may be there
/// still when the process ends.
using questions =
    std::map<std::pair<std::string, address_family>, std::shared_ptr<system_lookup::question>>;
std::mutex mutex;  // guards `under_way`
questions* under_way = nullptr;

/// Unloading leaves behind no more than what the C library works on.
const struct last_cleaning {
  ~last_cleaning() {
    const std::lock_guard lock(mutex);
    delete std::exchange(under_way, nullptr);
  }
} cleans_at_end;

void forget_unwanted() {
  std::erase_if(*under_way, [](auto& entry) {
    return entry.second.use_count() == 1 && entry.second->can_go();
  });
}

}  // namespace

system_lookup::system_lookup(const std::string& name, address_family family) {
  const std::lock_guard lock(mutex);
  if (under_way == nullptr) {
    under_way = new questions;
  }
  forget_unwanted();
  const auto found = under_way->find({name, family});
  if (found != under_way->end() && !found->second->has_ended()) {
    asked_ = found->second;
  } else {
    asked_ = std::make_shared<question>(name, family);
    under_way->insert_or_assign({name, family}, asked_);
  }
}

system_lookup::~system_lookup() {
  const std::lock_guard lock(mutex);
  asked_.reset();
  if (under_way != nullptr) {
    forget_unwanted();
  }
}

bool system_lookup::has_ended() const {
  return asked_->has_ended();
}

std::vector<std::string> system_lookup::addresses() const {
  return to_numeric_addresses(asked_->result());
}

std::string system_lookup::failure() const {
  return gai_strerror(asked_->code());
}

// nsswitch.conf(5)
bool has_other_sources_of_names() {
  static constexpr std::string_view database = "hosts:";
  std::ifstream file("/etc/nsswitch.conf");
  for (std::string line; std::getline(file, line);) {
    line = line.substr(0, line.find('#'));
    if (!line.starts_with(database)) {
      continue;
    }
    std::istringstream sources(line.substr(database.size()));
    for (std::string source; sources >> source;) {
      if (source != "files" && source != "dns" && !source.starts_with('[')) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace brunvik::monitoring_modules::mqtt
