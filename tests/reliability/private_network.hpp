#pragma once

#include <atomic>
#include <cstddef>
#include <limits>
#include <string>
#include <thread>

namespace kavu_test {

/// Takes this process into namespaces of its own: a network that has only the loopback interface,
/// and a view on the file system in which names are asked for at 127.0.0.1. There is no way back.
/// Returns what has failed, or nothing. Must be called before there is a second thread.
std::string enter_private_network();

/// Where the C library looks for names in a private network, as nsswitch.conf says it: at first in
/// the file of hosts and at name servers. May take effect with the next name only.
void set_name_sources(const std::string& sources);

/// The name server of a private network: every host has the address 127.0.0.1, except those of the
/// domain "none.", which do not exist.
class name_server {
 public:
  static constexpr std::size_t always = std::numeric_limits<std::size_t>::max();

  /// Answers so many questions and then no more.
  explicit name_server(std::size_t answers);
  ~name_server();
  name_server(const name_server&) = delete;
  name_server& operator=(const name_server&) = delete;

  void fall_silent() { answers_ = 0; }
  /// Answers from now on. Who was not answered asks again after five seconds.
  void speak() { answers_ = always; }
  std::size_t unanswered() const { return unanswered_; }

 private:
  void loop();
  static std::string answer(std::string question);

  std::atomic<std::size_t> answers_;
  std::atomic<std::size_t> unanswered_ = 0;
  std::atomic<bool> stopping_ = false;
  int socket_;
  std::thread thread_;
};

}  // namespace kavu_test
