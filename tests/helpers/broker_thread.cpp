#include "helpers/broker_thread.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "helpers/loopback_port.hpp"

namespace kavu_test {

using clock = std::chrono::steady_clock;

broker_thread::broker_thread() : wake_up_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  for (int attempt = 0; attempt < 20 && listener_ < 0; ++attempt) {
    port_ = free_loopback_port();
    listener_ = listen_on_loopback(port_);
  }
  if (listener_ < 0 || wake_up_ < 0) {
    throw std::runtime_error("no port to listen on");
  }
}

broker_thread::~broker_thread() {
  ::close(wake_up_);
}

void broker_thread::start() {
  thread_ = std::thread([this] { loop(); });
}

void broker_thread::stop() {
  call([this] { stopping_ = true; });
  thread_.join();
  for (auto& [id, state] : sessions_) {
    state.gone = true;
  }
  forget_gone();
  set_listening(false);
}

void broker_thread::post(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
  }
  ::eventfd_write(wake_up_, 1);
}

void broker_thread::loop() {
  while (!stopping_) {
    run_posted();
    forget_gone();
    // Input before what is due: after a pause it is all due at once.
    serve();
    run_due_timers();
  }
}

void broker_thread::run_posted() {
  eventfd_t ignored = 0;
  ::eventfd_read(wake_up_, &ignored);
  std::vector<std::function<void()>> tasks;
  {
    const std::lock_guard lock(mutex_);
    tasks.swap(posted_);
  }
  for (const auto& task : tasks) {
    task();
  }
}

void broker_thread::forget_gone() {
  std::erase_if(sessions_, [](const auto& entry) {
    if (entry.second.gone) {
      ::close(entry.second.descriptor);
    }
    return entry.second.gone;
  });
}

/// In milliseconds; -1 when there is none.
int broker_thread::time_to_next_timer() const {
  if (paused_ || timers_.empty()) {
    return -1;
  }
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first - clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
}

void broker_thread::run_due_timers() {
  while (!paused_ && !timers_.empty() && timers_.begin()->first <= clock::now()) {
    const auto node = timers_.extract(timers_.begin());
    node.mapped()();
  }
}

void broker_thread::serve() {
  std::vector<pollfd> polled{{wake_up_, POLLIN, 0}};
  std::vector<session*> clients;
  if (!paused_) {
    polled.push_back({listener_, POLLIN, 0});  // poll ignores a negative descriptor
    for (auto& [id, client] : sessions_) {
      const bool writing = client.sent < client.output.size();
      polled.push_back(
          {client.descriptor, static_cast<short>(POLLIN | (writing ? POLLOUT : 0)), 0});
      clients.push_back(&client);
    }
  }
  if (::poll(polled.data(), polled.size(), stopping_ ? 0 : time_to_next_timer()) <= 0) {
    return;
  }
  for (std::size_t i = 0; i < clients.size(); ++i) {
    const auto events = polled[i + 2].revents;
    if ((events & POLLOUT) != 0) {
      write(*clients[i]);
    }
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0) {
      read(*clients[i]);
    }
  }
  if (polled.size() > 1 && (polled[1].revents & POLLIN) != 0) {
    accept_connection();
  }
}

void broker_thread::accept_connection() {
  const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor < 0) {
    return;
  }
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  auto& added = sessions_[++last_id_];
  added.id = last_id_;
  added.descriptor = descriptor;
  opened(added);
}

void broker_thread::read(session& from) {
  static thread_local std::vector<char> chunk(256 * 1024);
  const auto size = ::read(from.descriptor, chunk.data(), chunk.size());
  if (size <= 0) {
    if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
      end(from);
      from.gone = true;
    }
  } else if (!from.ended && !from.ignored) {
    from.input.append(chunk.data(), static_cast<std::size_t>(size));
    received(from);
  }
}

void broker_thread::send(session& to, std::string_view bytes) {
  if (!to.ended) {
    to.output.append(bytes);
    write(to);
  }
}

void broker_thread::write(session& to) {
  while (!paused_ && to.sent < to.output.size()) {
    const auto size =
        ::send(to.descriptor, to.output.data() + to.sent, to.output.size() - to.sent, MSG_NOSIGNAL);
    if (size < 0) {
      return;  // a broken connection is noticed when reading
    }
    to.sent += static_cast<std::size_t>(size);
  }
  if (!paused_) {
    to.output.clear();
    to.sent = 0;
    if (to.ended) {
      ::shutdown(to.descriptor, SHUT_WR);
    }
  }
}

void broker_thread::end(session& of, bool reset) {
  if (std::exchange(of.ended, true)) {
    return;
  }
  of.connected = false;
  if (reset) {
    const linger hard{1, 0};
    ::setsockopt(of.descriptor, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    of.gone = true;
  } else {
    // Closing a socket with unread input would send RST and could take away from the other side
    // what it has not read yet. So the end is announced, and the rest of the input read.
    write(of);
  }
}

void broker_thread::after(std::chrono::milliseconds delay, std::function<void()> task) {
  timers_.emplace(clock::now() + delay, std::move(task));
}

void broker_thread::set_listening(bool listening) {
  if (listening && listener_ < 0) {
    listener_ = listen_on_loopback(port_);
    if (listener_ < 0) {
      throw std::runtime_error("the port " + std::to_string(port_) + " has been taken");
    }
  } else if (!listening && listener_ >= 0) {
    ::close(std::exchange(listener_, -1));
  }
}

}  // namespace kavu_test
