#include "helpers/tcp_server.hpp"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "helpers/loopback_port.hpp"

namespace kavu_test {
namespace {

/// -1 when the port is taken.
int listen_on(std::uint16_t port) {
  const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), "socket");
  }
  const int on = 1;
  ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(descriptor, 1024) != 0) {
    ::close(descriptor);
    return -1;
  }
  return descriptor;
}

}  // namespace

tcp_server::tcp_server(handler& target) : handler_(target) {
  for (int attempt = 0; attempt < 20 && listener_ < 0; ++attempt) {
    port_ = free_loopback_port();
    listener_ = listen_on(port_);
  }
  wake_up_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (listener_ < 0 || wake_up_ < 0) {
    throw std::runtime_error("no port to listen on");
  }
}

tcp_server::~tcp_server() {
  stop();
  ::close(wake_up_);
}

void tcp_server::start() {
  thread_ = std::thread([this] { loop(); });
}

void tcp_server::stop() {
  stopping_ = true;
  post({});
  if (thread_.joinable()) {
    thread_.join();
  }
  while (!connections_.empty()) {
    discard(connections_.begin()->first);
  }
  set_listening(false);
}

void tcp_server::post(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(wake_up_, &one, sizeof one);
}

void tcp_server::loop() {
  while (!stopping_) {
    run_posted();
    // Input first: after a pause everything is due at once, time-outs of clients included.
    serve(time_to_next_timer());
    run_due_timers();
  }
  run_posted();
}

void tcp_server::run_posted() {
  std::uint64_t ignored = 0;
  [[maybe_unused]] const auto read = ::read(wake_up_, &ignored, sizeof ignored);
  std::vector<std::function<void()>> tasks;
  {
    const std::lock_guard lock(mutex_);
    tasks.swap(posted_);
  }
  for (const auto& task : tasks) {
    if (task) {
      task();
    }
  }
}

/// In milliseconds; -1 when there is none.
int tcp_server::time_to_next_timer() const {
  if (paused_ || timers_.empty()) {
    return -1;
  }
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first -
                                                                 std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
}

void tcp_server::run_due_timers() {
  while (!paused_ && !timers_.empty() &&
         timers_.begin()->first <= std::chrono::steady_clock::now()) {
    const auto task = std::move(timers_.begin()->second);
    timers_.erase(timers_.begin());
    task();
  }
}

void tcp_server::serve(int timeout_ms) {
  std::vector<pollfd> polled{{wake_up_, POLLIN, 0}};
  std::vector<connection_id> ids;
  if (!paused_) {
    polled.push_back({listener_, POLLIN, 0});  // poll ignores a negative descriptor
    for (const auto& [id, state] : connections_) {
      const bool writing = state.sent < state.output.size();
      polled.push_back({state.descriptor, static_cast<short>(POLLIN | (writing ? POLLOUT : 0)), 0});
      ids.push_back(id);
    }
  }
  if (::poll(polled.data(), polled.size(), timeout_ms) <= 0) {
    return;
  }
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const auto events = polled[i + 2].revents;
    if ((events & POLLOUT) != 0) {
      write(ids[i]);
    }
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
      read(ids[i]);
    }
  }
  if (polled.size() > 1 && (polled[1].revents & POLLIN) != 0) {
    accept_connection();
  }
}

void tcp_server::accept_connection() {
  const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor < 0) {
    return;
  }
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  const auto id = next_id_++;
  connections_[id].descriptor = descriptor;
  handler_.opened(id);
}

void tcp_server::read(connection_id id) {
  const auto found = connections_.find(id);
  if (found == connections_.end()) {
    return;
  }
  static thread_local std::vector<char> chunk(256 * 1024);
  const auto size = ::read(found->second.descriptor, chunk.data(), chunk.size());
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
    return;
  }
  if (size <= 0) {
    lost(id);
  } else if (!found->second.closing) {
    found->second.input.append(chunk.data(), static_cast<std::size_t>(size));
    handler_.received(id, found->second.input);
  }
}

void tcp_server::redeliver(connection_id id) {
  const auto found = connections_.find(id);
  if (found != connections_.end() && !found->second.input.empty()) {
    handler_.received(id, found->second.input);
  }
}

void tcp_server::send(connection_id id, std::string_view bytes) {
  const auto found = connections_.find(id);
  if (found == connections_.end() || found->second.closing) {
    return;
  }
  found->second.output.append(bytes);
  write(id);
}

void tcp_server::write(connection_id id) {
  const auto found = connections_.find(id);
  if (found == connections_.end() || paused_) {
    return;
  }
  auto& state = found->second;
  while (state.sent < state.output.size()) {
    const auto size = ::send(state.descriptor, state.output.data() + state.sent,
                             state.output.size() - state.sent, MSG_NOSIGNAL);
    if (size < 0) {
      // A broken connection is noticed when reading.
      return;
    }
    state.sent += static_cast<std::size_t>(size);
  }
  state.output.clear();
  state.sent = 0;
  if (state.closing && !state.shut_down) {
    state.shut_down = true;
    ::shutdown(state.descriptor, SHUT_WR);
  }
}

void tcp_server::close(connection_id id, bool reset) {
  const auto found = connections_.find(id);
  if (found == connections_.end() || found->second.closing) {
    return;
  }
  if (reset) {
    const linger hard{1, 0};
    ::setsockopt(found->second.descriptor, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    discard(id);
    return;
  }
  // Closing a socket with unread input would send RST and could take away from the other side
  // what it has not read yet. So the end is announced, and the rest of the input read.
  found->second.closing = true;
  found->second.input.clear();
  write(id);
  after(std::chrono::seconds(2), [this, id] { discard(id); });
}

void tcp_server::lost(connection_id id) {
  const bool known_to_handler = !connections_.at(id).closing;
  discard(id);
  if (known_to_handler) {
    handler_.closed(id);
  }
}

void tcp_server::discard(connection_id id) {
  const auto found = connections_.find(id);
  if (found != connections_.end()) {
    ::close(found->second.descriptor);
    connections_.erase(found);
  }
}

void tcp_server::after(std::chrono::milliseconds delay, std::function<void()> task) {
  timers_.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
}

void tcp_server::set_listening(bool listening) {
  if (listening && listener_ < 0) {
    listener_ = listen_on(port_);
    if (listener_ < 0) {
      throw std::runtime_error("the port " + std::to_string(port_) + " has been taken");
    }
  } else if (!listening && listener_ >= 0) {
    ::close(listener_);
    listener_ = -1;
  }
}

std::size_t tcp_server::connection_count() const {
  std::size_t count = 0;
  for (const auto& [id, state] : connections_) {
    count += state.closing ? 0 : 1;
  }
  return count;
}

}  // namespace kavu_test
