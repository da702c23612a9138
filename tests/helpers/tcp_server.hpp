#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace kavu_test {

/// A TCP server on a free port of 127.0.0.1 with one thread, on which everything happens: what
/// arrives, what is to be done later, and what others ask for. What it serves needs no lock.
class tcp_server {
 public:
  using connection_id = std::uint64_t;

  /// Called on the server's thread.
  class handler {
   public:
    virtual void opened(connection_id connection) = 0;
    /// `bytes` is all that has arrived and has not been taken out of it.
    virtual void received(connection_id connection, std::string& bytes) = 0;
    /// The other side has ended the connection; not called after `close()`.
    virtual void closed(connection_id connection) = 0;

   protected:
    ~handler() = default;
  };

  /// Serves from `start()` on; the handler outlives it.
  explicit tcp_server(handler& target);
  ~tcp_server();
  tcp_server(const tcp_server&) = delete;
  tcp_server& operator=(const tcp_server&) = delete;

  void start();
  /// Ends the thread and breaks all connections. Waits for nobody.
  void stop();

  std::uint16_t port() const noexcept { return port_; }

  /// Runs a function on the server's thread and returns its result. [any-thread but this]
  template <class Function>
  std::invoke_result_t<Function> call(Function function) {
    std::packaged_task<std::invoke_result_t<Function>()> task(std::move(function));
    auto result = task.get_future();
    post([&task] { task(); });
    return result.get();
  }

  // The rest on the server's thread only.

  /// Unknown connections are ignored: they have just gone.
  void send(connection_id connection, std::string_view bytes);
  /// Ends a connection when all has been sent; with `reset` at once and hard (RST).
  void close(connection_id connection, bool reset = false);
  void after(std::chrono::milliseconds delay, std::function<void()> task);
  /// Hands the unread input of a connection to the handler again.
  void redeliver(connection_id connection);
  /// Reads, writes, accepts nothing, and time stands still for what is to be done later.
  void set_paused(bool paused) { paused_ = paused; }
  /// Opens or closes the listening socket, on the same port.
  void set_listening(bool listening);
  std::size_t connection_count() const;

 private:
  struct connection {
    int descriptor = -1;
    std::string input = {};
    std::string output = {};
    std::size_t sent = 0;
    /// The last word is said; we wait, for a while, until the other side has read it.
    bool closing = false;
    bool shut_down = false;
  };

  void post(std::function<void()> task);
  void loop();
  void run_posted();
  int time_to_next_timer() const;
  void serve(int timeout_ms);
  void run_due_timers();
  void accept_connection();
  void read(connection_id id);
  void write(connection_id id);
  void discard(connection_id id);
  void lost(connection_id id);

  handler& handler_;
  std::uint16_t port_ = 0;
  int listener_ = -1;
  int wake_up_ = -1;
  bool paused_ = false;
  std::atomic<bool> stopping_{false};
  connection_id next_id_ = 1;
  std::map<connection_id, connection> connections_;
  std::multimap<std::chrono::steady_clock::time_point, std::function<void()>> timers_;

  std::mutex mutex_;  // guards posted_
  std::vector<std::function<void()>> posted_;
  std::thread thread_;
};

}  // namespace kavu_test
