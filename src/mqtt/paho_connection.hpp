#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "mqtt/client_log.hpp"
#include "mqtt/connection_diagnosis.hpp"
#include "mqtt/library_waker.hpp"
#include "mqtt/mqtt_client_settings.hpp"
#include "mqtt/pending_operation.hpp"
#include "mqtt/quality_of_service.hpp"
#include "mqtt/received_message.hpp"

namespace brunvik::monitoring_modules::mqtt {

class paho_options;

/// What a connection tells its owner. [client-thread]: the library calls with the lock held that
/// serves all clients of the process, so nothing here may wait for a thread that calls the library.
class connection_events {
 public:
  virtual ~connection_events() = default;
  /// The URI holds the host as it stands in the settings.
  virtual void on_connect_success(const std::string& server_uri, int mqtt_version) noexcept = 0;
  virtual void on_connect_failure(std::exception_ptr failure) noexcept = 0;
  virtual void on_connection_lost(const std::string& cause) noexcept = 0;
  virtual void on_connected(const std::string& cause) noexcept = 0;
  virtual void on_message(std::shared_ptr<received_message> message) noexcept = 0;
};

/// Versions of the MQTT protocol, as the connect packet gives them (MQTT 3.1.1, section 3.1.2.2).
enum class protocol : int { mqtt_3_1 = 3, mqtt_3_1_1 = 4 };

/// One handle of the MQTT library, and the only place where the library is called.
///
/// Return codes come out of here as failures (failure_mapping.hpp), callbacks as
/// `connection_events`. [any-thread], but not from within an event.
class paho_connection {
 public:
  using operation_ptr = std::shared_ptr<pending_operation>;

  /// Makes the handle; does not connect. `events` and what it refers to must outlive this object.
  paho_connection(const mqtt_client_settings& settings, std::string client_id,
                  std::shared_ptr<client_log> log, connection_events& events);

  /// Waits at most half a second for the broker to be told, and then ends the connection. No event
  /// comes after it has begun.
  ~paho_connection();

  paho_connection(const paho_connection&) = delete;
  paho_connection& operator=(const paho_connection&) = delete;

  /// Starts an attempt, whose outcome comes as an event. The address is one of the host's, as text
  /// without brackets: the library would hold its lock while it asks for one. Only with TLS it is
  /// given the name all the same, which it compares with the certificate.
  void connect(const std::string& address, protocol version);
  [[nodiscard]] bool chooses_address_itself() const noexcept { return uses_tls_; }
  [[nodiscard]] bool uses_tls() const noexcept { return uses_tls_; }
  /// Starts another attempt; logs it as one when the library refuses to make it.
  void reconnect(const std::string& address, protocol version);
  /// Ends an attempt that has not ended, at once and without an event: the library itself would
  /// look at the time every three seconds. False when it has just connected, which stays.
  [[nodiscard]] bool end_attempt();

  /// Whether the last attempt was made in the newer version of the protocol and has failed in a way
  /// that the older one may mend. That knows no refused subscription, so it is good enough only for
  /// a broker that does not take the newer one.
  [[nodiscard]] bool is_version_in_doubt() const noexcept { return version_in_doubt_; }
  /// Whether the last attempt has ended with a broker's word: it has refused us.
  [[nodiscard]] bool was_refused() const noexcept { return refused_; }

  /// Has the library look at its connections at once (library_waker.hpp), without waiting for it or
  /// until it does.
  void wake_library() noexcept { waker_.get()->wake(); }
  void wake_library_and_wait() noexcept { waker_.get()->wake_and_wait(); }
  /// Has the library send at once what it was asked to send.
  void wake_sender() noexcept { waker_.get()->wake_sender(); }
  /// Sees to it that these three work, which takes a while when they do not.
  void look_after_waker() { waker_.renew_if_dead(); }

  /// Has a look at the server of the last attempt, on a connection of its own. Gives up at the
  /// deadline, and when told so.
  [[nodiscard]] diagnosis examine(std::chrono::steady_clock::time_point deadline,
                                  const std::function<bool()>& given_up) const;
  /// Why the last attempt has failed, if that is a matter of TLS, for a person; otherwise empty.
  /// As `examine`.
  [[nodiscard]] std::string explain_failure(std::chrono::steady_clock::time_point deadline,
                                            const std::function<bool()>& given_up);

  /// Whether the connection stands, as the events have told. Does not wait.
  [[nodiscard]] bool is_connected() const noexcept { return connected_; }
  /// What the library says. Waits for the lock that serves all clients.
  [[nodiscard]] bool library_says_connected();
  /// Waits until the library has finished what it does with its lock held: all that follows from a
  /// loss, for instance.
  void let_library_finish() noexcept;
  /// The end of the connection, told by somebody else than the library.
  void report_loss() noexcept;
  /// Ends the connection, and reports it. Takes half a second when the broker does not answer.
  void break_off() noexcept;

  /// Requests to the broker. They end as disconnected when the connection is lost.
  operation_ptr subscribe(const std::string& filter);
  operation_ptr unsubscribe(const std::string& filter);
  operation_ptr publish(const std::string& topic, const std::string& payload,
                        quality_of_service qos, bool retain);

  /// Ends all requests under way, and those to come at once. For the end of the client.
  void give_up_operations() noexcept;
  /// Those to come are waited for again.
  void accept_operations() noexcept;

 private:
  struct callbacks;
  friend struct callbacks;

  template <class Request>
  operation_ptr start(Request&& request);
  void make_handle();
  void destroy_handle() noexcept;
  void doubt_version(int code, std::string_view text) noexcept;
  void end_operations(void (pending_operation::*end)() noexcept) noexcept;
  int start_connecting(const std::string& address, protocol version);
  void await_callbacks() const noexcept;
  void lose(const std::string& cause) noexcept;
  void disconnect() noexcept;
  void remember_tls_error(std::string text) noexcept;
  [[nodiscard]] std::string take_tls_error() noexcept;

  shared_waker waker_;
  std::shared_ptr<client_log> log_;
  connection_events& events_;
  std::string client_id_;
  const std::string host_;
  const std::int64_t port_;
  const bool uses_tls_;
  std::string server_uri_;
  std::string address_;  // of the last attempt
  std::unique_ptr<paho_options> options_;
  void* handle_ = nullptr;  // the library's

  std::atomic<bool> connected_{false};
  std::atomic<bool> unexplained_{false};  // the last attempt has failed, and no broker has said why
  std::atomic<protocol> version_{protocol::mqtt_3_1_1};  // of the last attempt
  std::atomic<bool> refused_{false};
  std::atomic<std::chrono::steady_clock::time_point> ended_{
      {}};                                        // the connection or attempt before
  std::atomic<bool> version_in_doubt_{false};     // since the last attempt
  std::atomic<bool> newer_version_works_{false};  // it has connected us once
  std::atomic<bool> closing_{false};              // no event any more
  std::atomic<bool> untold_loss_{false};          // while that was set
  std::atomic<int> callbacks_running_{0};

  std::mutex operations_mutex_;  // guards all below
  std::map<pending_operation*, std::weak_ptr<pending_operation>> operations_;
  bool operations_given_up_ = false;
  std::string tls_error_;  // what the TLS library said last, until an attempt has ended
};

}  // namespace brunvik::monitoring_modules::mqtt
