#include "probe/demo/private_broker.hpp"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <grp.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "probe/failure.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

using std::chrono::steady_clock;

constexpr int attempts = 5;
constexpr std::chrono::seconds longest_start{5};
constexpr std::chrono::seconds longest_end{2};
constexpr std::chrono::milliseconds look_again{10};

class descriptor {
 public:
  explicit descriptor(int fd) : fd_(fd) {
    if (fd < 0) {
      throw probe_error(fmt::format("The private broker: {}.", std::strerror(errno)));
    }
  }
  descriptor(const descriptor&) = delete;
  descriptor& operator=(const descriptor&) = delete;
  ~descriptor() { close(fd_); }
  int get() const { return fd_; }

 private:
  int fd_;
};

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

/// A port that nobody listens on now. Somebody may take it before the broker does; then the
/// broker fails and another is tried.
std::uint16_t find_free_port() {
  const descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  if (bind(listener.get(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw probe_error(fmt::format("No free loopback port: {}.", std::strerror(errno)));
  }
  return ntohs(address.sin_port);
}

bool accepts_connections(std::uint16_t port) {
  const descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = loopback(port);
  if (connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return false;
  }
  // A connection from a port to itself succeeds where nobody listens.
  sockaddr_in own{};
  socklen_t size = sizeof own;
  return getsockname(client.get(), reinterpret_cast<sockaddr*>(&own), &size) == 0 &&
         own.sin_port != address.sin_port;
}

/// An anonymous file that a child inherits as its standard input or error.
int make_anonymous_file(const char* name, const std::string& content) {
  const int fd = memfd_create(name, MFD_CLOEXEC);
  if (fd >= 0 && write(fd, content.data(), content.size()) < 0) {
    close(fd);
    return -1;
  }
  return fd;
}

std::string configuration(std::uint16_t port, const std::string& more_settings) {
  return fmt::format(
      "listener {} 127.0.0.1\n"
      "allow_anonymous true\n"
      "persistence false\n"
      "log_dest stderr\n"
      "log_type error\n"
      "{}",
      port, more_settings);
}

/// The last line of what the broker said.
std::string last_line(int log) {
  std::string text(4096, '\0');
  const ssize_t length = pread(log, text.data(), text.size(), 0);
  text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  while (text.ends_with('\n')) {
    text.pop_back();
  }
  return printable(text.substr(text.rfind('\n') + 1));
}

struct user {
  uid_t id;
  gid_t group;
};

/// Whom to become when this is root: a broker needs no rights.
std::optional<user> find_unprivileged_user() {
  if (geteuid() != 0) {
    return std::nullopt;
  }
  for (const char* name : {"mosquitto", "nobody"}) {
    if (const passwd* const entry = getpwnam(name)) {
      return user{entry->pw_uid, entry->pw_gid};
    }
  }
  return std::nullopt;
}

/// What happens between fork and exec: only functions that are safe there.
[[noreturn]] void become_broker(const char* program, int config, int log,
                                const std::optional<user>& account, pid_t parent) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  std::signal(SIGPIPE, SIG_DFL);
  setpgid(0, 0);
  const bool changed = !account || (setgroups(0, nullptr) == 0 && setgid(account->group) == 0 &&
                                    setuid(account->id) == 0);
  // After the change of user, which takes the request back.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (changed && getppid() == parent && dup2(config, STDIN_FILENO) == STDIN_FILENO &&
      dup2(log, STDOUT_FILENO) == STDOUT_FILENO && dup2(log, STDERR_FILENO) == STDERR_FILENO) {
    execl(program, "mosquitto", "-c", "/proc/self/fd/0", static_cast<char*>(nullptr));
  }
  _exit(127);
}

}  // namespace

std::optional<std::string> find_mosquitto() {
  namespace fs = std::filesystem;
  const char* const path = std::getenv("PATH");
  std::string folders = path == nullptr ? "" : path;
  folders += ":/usr/local/sbin:/usr/sbin";
  for (std::size_t begin = 0; begin < folders.size();) {
    const std::size_t end = std::min(folders.find(':', begin), folders.size());
    const fs::path program = fs::path(folders.substr(begin, end - begin)) / "mosquitto";
    if (program.is_absolute() && access(program.c_str(), X_OK) == 0) {
      return program.string();
    }
    begin = end + 1;
  }
  return std::nullopt;
}

private_broker::private_broker(const std::stop_token& stop, const std::string& more_settings) {
  const auto program = find_mosquitto();
  if (!program) {
    throw probe_error("The demo needs mosquitto, which is not installed (package mosquitto).");
  }
  std::string failure;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (start(*program, more_settings, stop, failure)) {
      return;
    }
  }
  throw probe_error(fmt::format("The private broker does not start: {}.", failure));
}

private_broker::~private_broker() {
  end();
}

bool private_broker::start(const std::string& program, const std::string& more_settings,
                           const std::stop_token& stop, std::string& failure) {
  port_ = find_free_port();
  const descriptor config(
      make_anonymous_file("kavu-probe-broker", configuration(port_, more_settings)));
  const descriptor log(make_anonymous_file("kavu-probe-broker-log", ""));
  const auto account = find_unprivileged_user();
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) {
    become_broker(program.c_str(), config.get(), log.get(), account, parent);
  }
  if (process_ < 0) {
    throw probe_error(fmt::format("The private broker: {}.", std::strerror(errno)));
  }
  const auto deadline = steady_clock::now() + longest_start;
  while (steady_clock::now() < deadline) {
    if (stop.stop_requested()) {
      end();
      throw stopped();
    }
    if (has_ended()) {
      failure = last_line(log.get());
      return false;
    }
    if (accepts_connections(port_)) {
      return true;
    }
    std::this_thread::sleep_for(look_again);
  }
  end();
  failure = "it does not accept connections";
  return false;
}

bool private_broker::has_ended() {
  if (process_ > 0 && waitpid(process_, nullptr, WNOHANG) == process_) {
    process_ = -1;
  }
  return process_ < 0;
}

void private_broker::end() noexcept {
  if (process_ <= 0) {
    return;
  }
  kill(process_, SIGTERM);
  const auto deadline = steady_clock::now() + longest_end;
  while (!has_ended()) {
    if (steady_clock::now() >= deadline) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
      process_ = -1;
      return;
    }
    std::this_thread::sleep_for(look_again);
  }
}

}  // namespace kavu_probe
