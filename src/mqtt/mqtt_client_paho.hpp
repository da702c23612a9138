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
  /// Returns when the first attempt has ended, at the latest after twice the connect time-out and
  /// two seconds: two versions of the protocol may have to be tried. Throws when it has failed,
  /// unless the client is to go on by itself. The generator makes the suffix of the client
  /// identifier; when it is gone there is none.
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

  void connect_initially();
  std::vector<std::string> look_up(clock::time_point deadline,
                                   const std::function<bool()>& given_up) const;
  void try_all(const std::vector<std::string>& addresses, clock::time_point patience,
               clock::time_point deadline);
  void try_both_versions(const std::string& address, clock::time_point deadline);
  bool succeeds_in_older_version(const std::string& address, clock::time_point deadline);
  void make_first_attempt(const std::string& address, protocol version, clock::time_point deadline);
  void make_further_attempts(const std::string& address);
  void make_further_attempt(const std::string& address, protocol version);
  bool await_first_attempt(std::future<void>& ended, clock::time_point deadline);
  void first_attempt_failed(const std::exception_ptr& failure, clock::time_point deadline);
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

  std::promise<void> initial_connect_promise_;
  std::atomic<bool> first_connect_pending_{false};
  std::atomic<std::int64_t> connect_duration_ms_{-1};
  // When the attempt under way began, in ticks of the clock; 0 when none is.
  std::atomic<clock::rep> attempt_began_{0};
  std::size_t next_address_ = 0;      // of the host's, for the loop's thread
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
