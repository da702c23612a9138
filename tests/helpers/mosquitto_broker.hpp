#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "helpers/broker_log.hpp"
#include "helpers/child_process.hpp"
#include "helpers/temporary_directory.hpp"

namespace kavu_test {

/// A second listener of the broker, with TLS.
struct mosquitto_tls {
  std::filesystem::path certificate_file;
  std::filesystem::path key_file;
  /// CA of the clients' certificates; needed with `require_certificate`.
  std::filesystem::path client_ca_file = {};
  bool require_certificate = false;
};

struct mosquitto_options {
  bool allow_anonymous = true;
  /// Name and password of each user.
  std::map<std::string, std::string> users = {};
  std::optional<mosquitto_tls> tls = {};
  /// Where it listens, on the same ports.
  std::vector<std::string> addresses = {"127.0.0.1"};
  /// Whether the log tells every packet. Switch it off for floods.
  bool log_packets = true;
  /// Further lines of the configuration, as they stand.
  std::vector<std::string> extra = {};
};

/// A real mosquitto on free loopback ports, with a throw-away configuration in a private
/// directory. The constructor returns when it accepts connections.
///
/// Verbs throw std::runtime_error when the broker does not do what it should (it does not start,
/// does not stop). All functions may be called from any thread; `restart()` and the like one at a
/// time.
class mosquitto_broker {
 public:
  explicit mosquitto_broker(mosquitto_options options = {});
  mosquitto_broker(const mosquitto_broker&) = delete;
  mosquitto_broker& operator=(const mosquitto_broker&) = delete;

  /// The plain listener; the same for the broker's whole life, restarts included.
  std::uint16_t port() const noexcept { return port_; }
  /// The listener with TLS; 0 without the option.
  std::uint16_t tls_port() const noexcept { return tls_port_; }

  /// SIGTERM: it says goodbye to its clients and ends. Waits for the end.
  void stop();
  /// SIGKILL: the connections break. Waits for the end.
  void kill();
  /// SIGSTOP: TCP still accepts and nobody answers.
  void pause();
  void resume();
  /// Starts it again, after `stop()` where it still runs, on the same ports.
  void restart();
  /// `restart()` with other options.
  void restart(mosquitto_options options);
  bool running();

  /// Of all that it has logged, earlier lives included.
  bool log_contains(std::string_view text) const;

  /// What the broker sees right now, after its own log. A log line is cut at 1,000 bytes: longer
  /// client ids and filters are not found here.
  std::vector<std::string> connected_clients();
  std::vector<broker_subscription> subscriptions();
  /// Number of connections accepted since the first start from clients whose id starts so.
  std::size_t connections_accepted(std::string_view client_id_prefix = {});

  /// Waits until so many clients whose id starts with the prefix are connected.
  bool wait_for_clients(std::size_t count, std::string_view client_id_prefix = {});
  /// Waits until some client holds a subscription of this filter.
  bool wait_for_subscription(std::string_view filter);

 private:
  bool try_start();
  void write_configuration();
  std::string configuration() const;
  void end(int signal_number);
  void signal(int number);
  std::string log_text(std::size_t from = 0) const;
  /// What the log says by now.
  template <class Question>
  auto ask_log(Question question);

  mosquitto_options options_;
  temporary_directory directory_;
  std::uint16_t port_ = 0;
  std::uint16_t tls_port_ = 0;
  std::filesystem::path log_file_ = directory_.path() / "log";

  mutable std::mutex mutex_;  // guards what follows
  std::unique_ptr<child_process> process_;
  broker_log log_{log_file_};
};

}  // namespace kavu_test
