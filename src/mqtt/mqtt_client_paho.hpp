#pragma once

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "libstringutils/random_string_generator.hpp"
#include "mqtt/answer_watch.hpp"
#include "mqtt/broker_turn.hpp"
#include "mqtt/client_log.hpp"
#include "mqtt/mqtt_client_interface.hpp"
#include "mqtt/mqtt_client_settings.hpp"
#include "mqtt/paho_connection.hpp"
#include "mqtt/reconnect_loop.hpp"
#include "mqtt/subscription_registry.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// The client, on the asynchronous Paho library.
///
/// It connects once when it is made and then, if the settings say so, looks after its connection
/// by itself (reconnect_loop.hpp). The broker is asked by `paho_connection`; who is to get which
/// message is the business of `subscription_registry`.
class mqtt_client_paho final : public mqtt_client_interface,
                               private connection_events,
                               private reconnectable {
 public:
  /// Returns when the first attempt has ended, at the latest half a second after the connect
  /// time-out, which bounds looking up the name, all of the host's addresses and both versions of
  /// the protocol. Throws when it has failed, unless the client is to go on by itself. The
  /// generator makes the suffix of the client identifier; when it is gone there is none.
  mqtt_client_paho(
      const mqtt_client_settings& settings,
      std::weak_ptr<libstringutils::random_string_generator_interface> random_generator);

  /// Ends within two seconds, whatever the broker does.
  ~mqtt_client_paho() override;

  mqtt_client_paho(const mqtt_client_paho&) = delete;
  mqtt_client_paho& operator=(const mqtt_client_paho&) = delete;

  void subscribe(std::shared_ptr<topic_subscription_interface> subscription) override;
  void unsubscribe(std::shared_ptr<topic_subscription_interface> subscription) override;
  void publish(const std::string& topic, const std::string& payload, const quality_of_service& qos,
               bool retain) override;
  void expect_arrival() override { connection_.wake_library_and_wait(); }
  std::size_t active_client_count() override;
  std::int64_t connect_duration_ms() override { return connect_duration_ms_; }
  bool is_connected() override { return connection_.is_connected(); }
  std::string client_id() override { return effective_client_id_; }
  std::size_t subscription_count() override { return subscriptions_.filter_count(); }
  void add_logger(std::shared_ptr<liblog::log_interface> logger, int level) override;
  void remove_logger(std::shared_ptr<liblog::log_interface> logger) override;
  std::uint64_t require_subscribed(const std::string& filter) override;

 private:
  using clock = std::chrono::steady_clock;

  void on_connect_success(const std::string& server_uri, int mqtt_version) noexcept override;
  void on_connect_failure(std::exception_ptr failure) noexcept override;
  void on_connection_lost(const std::string& cause) noexcept override;
  void on_connected(const std::string& cause) noexcept override;
  void on_message(std::shared_ptr<received_message> message) noexcept override;

  void attempt_to_connect() override;
  bool renew_subscriptions() override;
  void verify_connection() override;
  bool is_answering();

  /// How long an attempt may take.
  struct patience {
    clock::time_point without_tcp;  // while nobody takes the connection, if that can be seen
    clock::time_point at_most;
    const std::function<bool()>& given_up;
  };

  void connect_initially();
  std::vector<std::string> look_up(clock::time_point deadline,
                                   const std::function<bool()>& given_up) const;
  void connect_somewhere(clock::time_point deadline, const std::function<bool()>& given_up);
  void try_both_versions(const std::string& address, const patience& limits);
  bool succeeds_in_older_version(const std::string& address, const patience& limits);
  void attempt(const std::string& address, protocol version, const patience& limits);
  void await_attempt(std::future<void>& ended, const patience& limits);
  bool is_ended_by(const std::future<void>& ended, clock::time_point began, clock::time_point limit,
                   const std::function<bool()>& given_up);
  void log_silence(const diagnosis& found, clock::time_point began);
  std::exception_ptr explain(std::exception_ptr failure, clock::time_point deadline,
                             const std::function<bool()>& given_up) noexcept;
  void log_failure(int severity, const char* what, const std::exception_ptr& failure) noexcept;
  void look_after_connection() noexcept;

  void subscribe_at_broker(const std::string& filter, subscription_registry::addition added);
  void release_at_broker(const std::string& filter);
  void release_abandoned() noexcept;
  void release_all() noexcept;
  void renew_batch(const std::vector<std::string>& filters);
  void renew(const std::string& filter, const paho_connection::operation_ptr& operation,
             subscription_registry::connection_number connection, clock::time_point deadline);
  void await_subscription(const paho_connection::operation_ptr& operation,
                          const std::string& filter,
                          subscription_registry::connection_number connection,
                          clock::time_point deadline);
  pending_operation::state await(const paho_connection::operation_ptr& operation,
                                 clock::time_point deadline);

  const clock::time_point created_ = clock::now();
  const std::string host_;
  const address_family family_;
  const std::chrono::seconds connect_timeout_;
  const std::chrono::seconds longest_publish_;
  const bool reconnects_;
  const std::string effective_client_id_;
  const std::shared_ptr<client_log> log_;

  subscription_registry subscriptions_;
  broker_turn turn_;
  // Of unsubscriptions: when the broker has left one unanswered the next ones do not wait for it.
  answer_watch answers_;

  // Of the attempt under way, which somebody waits for while it is pending.
  std::shared_ptr<std::promise<void>> attempt_promise_;  // an event may still be in it
  std::atomic<bool> attempt_pending_{false};
  bool has_attempted_ = false;
  std::string shown_address_;  // where it leads, if the host's name does not say so
  std::atomic<std::int64_t> connect_duration_ms_{-1};
  std::size_t next_address_ = 0;      // of the host's
  std::atomic<bool> arrived_{false};  // a message, since the loop's thread last looked
  // For the loop's thread: since when nothing has arrived, and how long a broker that has been
  // asked whether it is there may take to answer.
  clock::time_point quiet_since_ = clock::now();
  std::chrono::seconds patience_{30};

  // Null when the client does not reconnect. It outlives the connection, whose events it takes, and
  // is stopped before the connection goes, which it drives.
  const std::unique_ptr<reconnect_loop> loop_;
  paho_connection connection_;
};

}  // namespace brunvik::monitoring_modules::mqtt
