#pragma once

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

/// A client's connection, and what its broker knows of it.
struct session {
  std::uint64_t id = 0;
  int descriptor = -1;
  std::string input = {};
  std::string output = {};
  std::size_t sent = 0;  // of the output
  /// The broker's last word is said; the connection goes when the other side has read it.
  bool ended = false;
  /// There is no connection any more.
  bool gone = false;

  bool greeted = false;
  bool ignored = false;
  bool connected = false;
  std::string client_id = {};
  std::map<std::string, std::uint8_t, std::less<>> filters = {};
  std::uint16_t last_packet_id = 0;
};

/// A free port of 127.0.0.1 and one thread, on which everything happens: what arrives, what is to
/// be done later, and what others ask for. What it serves needs no lock.
class broker_thread {
 public:
  broker_thread();
  virtual ~broker_thread();
  broker_thread(const broker_thread&) = delete;
  broker_thread& operator=(const broker_thread&) = delete;

  std::uint16_t port() const noexcept { return port_; }

  /// Runs a function on the thread and returns its result. [any-thread but this]
  template <class Function>
  std::invoke_result_t<Function> call(Function function) {
    std::packaged_task<std::invoke_result_t<Function>()> task(std::move(function));
    auto result = task.get_future();
    post([&task] { task(); });
    return result.get();
  }

  // The rest on the thread only.

  /// Reads, writes, accepts nothing, and time stands still for what is to be done later.
  void set_paused(bool paused) { paused_ = paused; }
  /// Opens or closes the listening socket, on the same port.
  void set_listening(bool listening);

 protected:
  /// Serves from here on; called by the derived class when it is complete.
  void start();
  /// Ends the thread and breaks all connections. Waits for nobody.
  void stop();

  virtual void opened(session& client) = 0;
  /// `input` is all that has arrived and has not been taken out of it.
  virtual void received(session& client) = 0;

  void send(session& to, std::string_view bytes);
  /// Ends a connection when all has been sent; with `reset` at once and hard (RST).
  void end(session& of, bool reset = false);
  void after(std::chrono::milliseconds delay, std::function<void()> task);

  std::map<std::uint64_t, session> sessions_ = {};

 private:
  void post(std::function<void()> task);
  void loop();
  void run_posted();
  void run_due_timers();
  void forget_gone();
  int time_to_next_timer() const;
  void serve();
  void accept_connection();
  void read(session& from);
  void write(session& to);

  std::uint16_t port_ = 0;
  int listener_ = -1;
  int wake_up_ = -1;
  bool paused_ = false;
  bool stopping_ = false;
  std::uint64_t last_id_ = 0;
  std::multimap<std::chrono::steady_clock::time_point, std::function<void()>> timers_ = {};

  std::mutex mutex_;
  std::vector<std::function<void()>> posted_ = {};  // guarded by mutex_
  std::thread thread_;
};

}  // namespace kavu_test
