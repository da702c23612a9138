#include "probe/signal_watcher.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

constexpr int patience_ms = 5000;

bool ignored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

int block_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  if (!ignored(SIGHUP)) {
    sigaddset(&signals, SIGHUP);
  }
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

}  // namespace

signal_watcher::signal_watcher() : signals_fd_(block_signals()), end_fd_(eventfd(0, EFD_CLOEXEC)) {
  if (signals_fd_ < 0 || end_fd_ < 0) {
    throw probe_error("Signals cannot be watched: no file descriptor is left.");
  }
  thread_ = std::thread([this] { run(); });
}

signal_watcher::~signal_watcher() {
  eventfd_write(end_fd_, 1);
  thread_.join();
  close(end_fd_);
  close(signals_fd_);
}

// [own-thread]
void signal_watcher::run() noexcept {
  for (;;) {
    pollfd watched[] = {{signals_fd_, POLLIN, 0}, {end_fd_, POLLIN, 0}};
    const int first = signal_.load();
    const int ready = poll(watched, 2, first == 0 ? -1 : patience_ms);
    if (watched[1].revents != 0) {
      return;
    }
    signalfd_siginfo info{};
    const bool came = ready > 0 && read(signals_fd_, &info, sizeof info) == sizeof info;
    if (first != 0 && (came || ready == 0)) {
      _exit(exit_code_of(first));
    }
    if (came) {
      signal_ = static_cast<int>(info.ssi_signo);
      stop_.request_stop();
    }
  }
}

}  // namespace kavu_probe
