#include "role_process.hpp"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <stdexcept>

namespace kavu_bench {
namespace {

constexpr std::chrono::milliseconds longest_silence = std::chrono::minutes(2);

[[noreturn]] void play(const std::function<void(line&)>& task, int descriptor, pid_t parent) {
  int status = 1;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() == parent) {
    try {
      line to_parent(descriptor);
      task(to_parent);
      status = 0;
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "%s\n", failure.what());
    }
  }
  // What the parent had to print or to destroy at its end is not for this one.
  _exit(status);
}

}  // namespace

line::~line() {
  close(descriptor_);
}

void line::send(std::int64_t number) {
  if (::send(descriptor_, &number, sizeof number, MSG_NOSIGNAL) != sizeof number) {
    throw std::runtime_error("The other process is gone.");
  }
}

std::int64_t line::receive() {
  pollfd readable{.fd = descriptor_, .events = POLLIN, .revents = 0};
  if (poll(&readable, 1, static_cast<int>(longest_silence.count())) != 1) {
    throw std::runtime_error("The other process says nothing.");
  }
  std::int64_t number = 0;
  if (recv(descriptor_, &number, sizeof number, MSG_WAITALL) != sizeof number) {
    throw std::runtime_error("The other process is gone.");
  }
  return number;
}

role_process::role_process(const std::function<void(line&)>& task) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::runtime_error("There can be no line to another process.");
  }
  line_ = std::make_unique<line>(ends[0]);
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) {
    close(ends[0]);
    play(task, ends[1], parent);
  }
  close(ends[1]);
  if (process_ < 0) {
    throw std::runtime_error("There can be no other process.");
  }
}

role_process::~role_process() {
  line_.reset();
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

}  // namespace kavu_bench
