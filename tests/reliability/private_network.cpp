#include "reliability/private_network.hpp"

#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <system_error>

#include "helpers/temporary_directory.hpp"

namespace kavu_test {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

void require(bool done, const char* what) {
  if (!done) {
    fail(what);
  }
}

void write_file(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  if (!(file << text << std::flush)) {
    fail(path);
  }
}

void enter_namespaces() {
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  require(::unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) == 0, "unshare");
  write_file("/proc/self/setgroups", "deny");
  write_file("/proc/self/uid_map", "0 " + user + " 1");
  write_file("/proc/self/gid_map", "0 " + group + " 1");
}

void bring_up_loopback() {
  const int any = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  const bool up = ::ioctl(any, SIOCSIFFLAGS, &request) == 0;
  ::close(any);
  require(up, "bringing up the loopback interface");
}

void replace_file(const std::string& path, const std::string& text) {
  static const temporary_directory directory;
  const auto file = directory.write(std::filesystem::path(path).filename().string(), text);
  require(::mount(file.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0, path.c_str());
}

/// Where the question of a message ends; the header is 12 bytes long.
std::size_t end_of_question(const std::string& message) {
  std::size_t at = 12;
  while (at < message.size() && message[at] != 0) {
    at += static_cast<unsigned char>(message[at]) + 1U;
  }
  return at + 5;  // the root, type and class
}

std::string encoded(const std::string& host) {
  const auto dot = host.find('.');
  return std::string(1, static_cast<char>(dot)) + host.substr(0, dot) +
         std::string(1, static_cast<char>(host.size() - dot - 1)) + host.substr(dot + 1) + '\0';
}

}  // namespace

std::string enter_private_network() try {
  enter_namespaces();
  bring_up_loopback();
  require(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
  replace_file("/etc/resolv.conf", "nameserver 127.0.0.1\n");
  replace_file("/etc/nsswitch.conf", "hosts: files dns\n");
  return {};
} catch (const std::exception& failure) {
  return failure.what();
}

name_server::name_server(std::size_t answers)
    : answers_(answers), socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(53);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  require(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
          "binding port 53");
  thread_ = std::thread([this] { loop(); });
}

name_server::~name_server() {
  stopping_ = true;
  thread_.join();
  ::close(socket_);
}

void name_server::speak() {
  answers_ = std::numeric_limits<std::size_t>::max();
  const std::lock_guard lock(mutex_);
  for (const auto& each : kept_) {
    answer(each);
  }
  kept_.clear();
}

void name_server::loop() {
  while (!stopping_) {
    pollfd waiting{socket_, POLLIN, 0};
    constexpr int slice_ms = 20;
    if (::poll(&waiting, 1, slice_ms) != 1) {
      continue;
    }
    question asked;
    socklen_t length = sizeof asked.first;
    std::array<char, 1500> bytes{};
    const auto size = ::recvfrom(socket_, bytes.data(), bytes.size(), 0,
                                 reinterpret_cast<sockaddr*>(&asked.first), &length);
    if (size > 12) {
      asked.second.assign(bytes.data(), static_cast<std::size_t>(size));
      handle(asked);
    }
  }
}

void name_server::handle(const question& asked) {
  const std::lock_guard lock(mutex_);
  if (answers_ > 0) {
    --answers_;
    answer(asked);
  } else {
    kept_.push_back(asked);
    ++unanswered_;
  }
}

// RFC 1035: the question once more, and the address if it is this host's IPv4 one that was asked
// for. Any other name does not exist.
void name_server::answer(const question& asked) const {
  const auto end = end_of_question(asked.second);
  std::string message = asked.second.substr(0, end);
  const bool known = message.substr(12, end - 16) == encoded(host);
  const bool has_address = known && message.at(end - 3) == 1;
  message.replace(2, 10, std::string("\x81\x80\0\1\0\0\0\0\0\0", 10));
  message[3] = static_cast<char>(known ? 0x80 : 0x83);
  message[7] = has_address ? 1 : 0;
  if (has_address) {
    message += std::string("\xc0\x0c\0\1\0\1\0\0\0\0\0\4\x7f\0\0\1", 16);
  }
  ::sendto(socket_, message.data(), message.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&asked.first), sizeof asked.first);
}

}  // namespace kavu_test
