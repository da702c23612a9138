#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>

namespace kavu_probe {

/// A mosquitto of one's own on a free loopback port, ended by the destructor.
///
/// It leaves nothing behind on any way out: its configuration and its log are anonymous files that
/// go with the processes, and the kernel kills it when the thread that made it ends, be it by
/// SIGKILL. Started as root it runs as mosquitto or nobody. It has a process group of its own, so
/// that a Ctrl-C meant for this program does not end it before its clients.
class private_broker {
 public:
  /// Starts the broker and waits until it accepts connections, five seconds at most. Must be made
  /// by a thread that lives as long as the broker is wanted. `more_settings`: further lines of the
  /// configuration, each with its line end. Throws probe_error when there is no mosquitto or it
  /// does not start, and stopped.
  explicit private_broker(const std::stop_token& stop, const std::string& more_settings = {});
  private_broker(const private_broker&) = delete;
  private_broker& operator=(const private_broker&) = delete;
  /// Waits up to two seconds for the broker's own end, then kills it.
  ~private_broker();

  std::uint16_t port() const { return port_; }
  pid_t process() const { return process_; }

 private:
  bool start(const std::string& program, const std::string& more_settings,
             const std::stop_token& stop, std::string& failure);
  bool has_ended();
  void end() noexcept;

  std::uint16_t port_ = 0;
  pid_t process_ = -1;
};

/// The path of the mosquitto program: in PATH, or where systems keep their daemons.
std::optional<std::string> find_mosquitto();

}  // namespace kavu_probe
