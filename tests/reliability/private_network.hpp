#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kavu_test {

/// Takes this process into namespaces of its own: a network that has only the loopback interface,
/// and a view on the file system in which names are asked for at 127.0.0.1. There is no way back.
/// Returns what has failed, or nothing. Must be called before there is a second thread.
std::string enter_private_network();

/// The name server of a private network. It knows one host, `host`, with the address 127.0.0.1.
class name_server {
 public:
  static constexpr const char* host = "broker.example";

  /// Answers so many questions and then no more.
  explicit name_server(std::size_t answers);
  ~name_server();
  name_server(const name_server&) = delete;
  name_server& operator=(const name_server&) = delete;

  void fall_silent() { answers_ = 0; }
  /// Answers everything again, those questions included that it has kept silent about.
  void speak();
  std::size_t unanswered() const { return unanswered_; }

 private:
  using question = std::pair<sockaddr_in, std::string>;

  void loop();
  void handle(const question& asked);
  void answer(const question& asked) const;

  std::atomic<std::size_t> answers_;
  std::atomic<std::size_t> unanswered_ = 0;
  std::atomic<bool> stopping_ = false;
  int socket_;
  std::mutex mutex_;  // guards kept_
  std::vector<question> kept_;
  std::thread thread_;
};

}  // namespace kavu_test
