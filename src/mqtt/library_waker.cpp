#include "mqtt/library_waker.hpp"

#include <MQTTAsync.h>
#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

#include "mqtt/library_lock.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;

namespace {

constexpr auto connect_limit = 2s;
constexpr auto wake_limit = 200ms;

// The only three packets of this conversation beside the client's CONNECT (MQTT 3.1.1, sections 3.2
// and 3.3): an acceptance, and an empty message on the topic "w".
constexpr std::array<unsigned char, 4> connack{0x20, 0x02, 0x00, 0x00};
constexpr std::array<unsigned char, 5> publish{0x30, 0x03, 0x00, 0x01, 'w'};

/// Closes a descriptor when it goes.
class descriptor {
 public:
  explicit descriptor(int value) : value_(value) {}
  ~descriptor() {
    if (value_ >= 0) {
      close(value_);
    }
  }
  descriptor(const descriptor&) = delete;
  descriptor& operator=(const descriptor&) = delete;
  [[nodiscard]] int value() const noexcept { return value_; }

 private:
  int value_;
};

bool is_readable_by(std::chrono::steady_clock::time_point deadline, int socket) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  pollfd waiting{socket, POLLIN, 0};
  return poll(&waiting, 1, std::max(0, static_cast<int>(left.count()))) == 1;
}

/// Listens on a port of the loopback interface; 0 when that fails.
std::uint16_t listen_on_loopback(int socket) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (socket < 0 || bind(socket, generic, length) != 0 || listen(socket, 1) != 0 ||
      getsockname(socket, generic, &length) != 0) {
    return 0;
  }
  return ntohs(address.sin_port);
}

/// Whether anybody can connect to a listening socket of ours: without the loopback interface nobody
/// can, and the library would take long to say so.
bool can_be_reached(int listener) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  const descriptor own(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (getsockname(listener, generic, &length) != 0 || connect(own.value(), generic, length) != 0) {
    return false;
  }
  const descriptor accepted(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
  return accepted.value() >= 0;
}

// The library's threads may still be on their way out of its code when the last handle has been
// destroyed. So its code stays in memory for the life of the process, also when ours is unloaded.
void keep_library_loaded() {
  Dl_info library{};
  if (dladdr(reinterpret_cast<const void*>(&MQTTAsync_destroy), &library) != 0) {
    dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

// The library writes a trace of all that it does into a buffer in memory, also when nobody has
// asked for it: a fifth of what a message costs. Whoever asks does so with this variable.
void keep_library_from_tracing() {
  const char* wanted = std::getenv("MQTT_C_CLIENT_TRACE");
  if (wanted == nullptr || *wanted == '\0') {
    MQTTAsync_setTraceLevel(MQTTASYNC_TRACE_ERROR);
  }
}

void prepare_library() {
  static std::once_flag once;
  std::call_once(once, [] {
    keep_library_loaded();
    keep_library_from_tracing();
  });
}

}  // namespace

/// [client-thread]
struct library_waker::library_callbacks {
  static void connected(void* context, MQTTAsync_successData* /*data*/) {
    auto& waker = *static_cast<library_waker*>(context);
    {
      const std::lock_guard lock(waker.mutex_);
      waker.connected_ = true;
    }
    waker.changed_.notify_all();
  }

  static int message_arrived(void* context, char* topic, int /*topic_length*/,
                             MQTTAsync_message* message) {
    auto& waker = *static_cast<library_waker*>(context);
    {
      const std::lock_guard lock(waker.mutex_);
      ++waker.seen_;
    }
    waker.changed_.notify_all();
    MQTTAsync_freeMessage(&message);
    MQTTAsync_free(topic);
    return 1;
  }

  static void connection_lost(void* context, char* /*cause*/) {
    auto& waker = *static_cast<library_waker*>(context);
    const std::lock_guard lock(waker.mutex_);
    waker.broken_ = true;
  }

  static void left(void* context) {
    auto& waker = *static_cast<library_waker*>(context);
    {
      const std::lock_guard lock(waker.mutex_);
      --waker.to_be_sent_;
    }
    waker.changed_.notify_all();
  }
  static void sent(void* context, MQTTAsync_successData* /*data*/) { left(context); }
  static void not_sent(void* context, MQTTAsync_failureData* /*data*/) { left(context); }
};

std::shared_ptr<library_waker> library_waker::shared() {
  static std::mutex mutex;
  static std::weak_ptr<library_waker> existing;
  const std::lock_guard lock(mutex);
  auto waker = existing.lock();
  static auto next_try = clock::time_point{};
  if (waker == nullptr || (!waker->works() && clock::now() >= next_try)) {
    waker = std::make_shared<library_waker>();
    existing = waker;
    if (!waker->works()) {
      next_try = clock::now() + 1min;
    }
  }
  return waker;
}

library_waker::library_waker() {
  prepare_library();
  if (!connect() && peer_ >= 0) {
    close(peer_);
    peer_ = -1;
  }
}

// The library calls back and destroys with the same lock held, so no callback comes after that.
library_waker::~library_waker() {
  if (handle_ != nullptr) {
    let_sender_finish();
    with_library_lock([&] { MQTTAsync_destroy(&handle_); });
  }
  if (peer_ >= 0) {
    close(peer_);
  }
}

bool library_waker::connect() {
  const descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const std::uint16_t port = listen_on_loopback(listener.value());
  const auto deadline = clock::now() + connect_limit;
  if (port == 0 || !can_be_reached(listener.value()) || !start_connecting(port) ||
      !accept_own(listener.value(), deadline)) {
    return false;
  }
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, deadline, [&] { return connected_; });
}

bool library_waker::start_connecting(std::uint16_t port) {
  const std::string uri = "tcp://127.0.0.1:" + std::to_string(port);
  if (MQTTAsync_create(&handle_, uri.c_str(), "waker", MQTTCLIENT_PERSISTENCE_NONE, nullptr) !=
      MQTTASYNC_SUCCESS) {
    handle_ = nullptr;
    return false;
  }
  MQTTAsync_setCallbacks(handle_, this, library_callbacks::connection_lost,
                         library_callbacks::message_arrived, nullptr);
  MQTTAsync_connectOptions options = MQTTAsync_connectOptions_initializer;
  options.keepAliveInterval = 0;
  options.MQTTVersion = MQTTVERSION_3_1_1;
  options.onSuccess = library_callbacks::connected;
  options.context = this;
  return with_library_lock([&] { return MQTTAsync_connect(handle_, &options); }) ==
         MQTTASYNC_SUCCESS;
}

bool library_waker::accept_own(int listener, clock::time_point deadline) {
  if (!is_readable_by(deadline, listener)) {
    return false;
  }
  peer_ = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (peer_ < 0) {
    return false;
  }
  const int on = 1;
  setsockopt(peer_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  std::array<char, 256> connect_packet{};
  return is_readable_by(deadline, peer_) &&
         recv(peer_, connect_packet.data(), connect_packet.size(), 0) > 0 &&
         send(peer_, connack.data(), connack.size(), MSG_NOSIGNAL) ==
             static_cast<ssize_t>(connack.size());
}

bool library_waker::works() const noexcept {
  const std::lock_guard lock(mutex_);
  return peer_ >= 0 && !broken_;
}

void library_waker::wake() noexcept {
  const std::lock_guard lock(mutex_);
  // Nothing is sent in part: what does not fit meets a thread that has plenty to wake up for.
  if (peer_ >= 0 && send(peer_, publish.data(), publish.size(), MSG_NOSIGNAL) ==
                        static_cast<ssize_t>(publish.size())) {
    ++sent_;
  }
}

// Any request would do; what it sends ends here.
void library_waker::wake_sender() noexcept {
  MQTTAsync_message message = MQTTAsync_message_initializer;
  char nothing = 0;
  message.payload = &nothing;
  MQTTAsync_responseOptions options = MQTTAsync_responseOptions_initializer;
  options.onSuccess = library_callbacks::sent;
  options.onFailure = library_callbacks::not_sent;
  options.context = this;
  {
    const std::lock_guard lock(mutex_);
    ++to_be_sent_;
  }
  const int code =
      with_library_lock([&] { return MQTTAsync_sendMessage(handle_, "w", &message, &options); });
  if (code != MQTTASYNC_SUCCESS) {
    library_callbacks::left(this);
  }
  std::array<char, 256> sent{};
  while (recv(peer_, sent.data(), sent.size(), MSG_DONTWAIT) > 0) {
  }
}

// What a client still has to send when it is destroyed the library never frees.
void library_waker::let_sender_finish() noexcept {
  for (int tries = 0; tries < 3; ++tries) {
    {
      std::unique_lock lock(mutex_);
      if (changed_.wait_for(lock, wake_limit, [&] { return to_be_sent_ == 0; })) {
        return;
      }
    }
    wake_sender();
  }
}

void library_waker::wake_and_wait() noexcept {
  wake();
  std::unique_lock lock(mutex_);
  const auto awaited = sent_;
  changed_.wait_for(lock, wake_limit, [&] { return seen_ >= awaited; });
}

}  // namespace brunvik::monitoring_modules::mqtt
