#include "mqtt/mqtt_client_paho.hpp"

#include <algorithm>
#include <optional>
#include <thread>

#include "liblog/severity.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/failure_mapping.hpp"
#include "mqtt/name_lookup.hpp"
#include "mqtt/time_limits.hpp"
#include "mqtt/transportable.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;
namespace severity = liblog::severity;

namespace {

std::atomic<std::size_t> active_clients{0};

std::string make_client_id(
    const mqtt_client_settings& settings,
    const std::weak_ptr<libstringutils::random_string_generator_interface>& random_generator) {
  const auto generator = random_generator.lock();
  if (settings.client_id_suffix_length == 0 || generator == nullptr) {
    return settings.client_id;
  }
  return settings.client_id + generator->generate(settings.client_id_suffix_length);
}

std::shared_ptr<client_log> make_log(const std::string& client_id,
                                     const std::shared_ptr<liblog::log_interface>& logger) {
  auto log = std::make_shared<client_log>(client_id);
  log->attach(logger, severity::debug);
  return log;
}

std::string with_cause(const char* event, const std::string& cause) {
  return cause.empty() ? event : std::string(event) + " - Cause: " + cause;
}

}  // namespace

mqtt_client_paho::mqtt_client_paho(
    const mqtt_client_settings& settings,
    std::weak_ptr<libstringutils::random_string_generator_interface> random_generator)
    : host_(settings.host),
      connect_timeout_(clamp_connect_timeout(settings.connect_timeout)),
      longest_publish_(longest_publishing(settings.keep_alive) + connect_timeout_),
      reconnects_(settings.automatic_reconnect),
      effective_client_id_(make_client_id(settings, random_generator)),
      log_(make_log(effective_client_id_, settings.logger)),
      subscriptions_(log_),
      loop_(reconnects_ ? std::make_unique<reconnect_loop>(static_cast<reconnectable&>(*this), log_)
                        : nullptr),
      connection_(settings, effective_client_id_, log_, *this) {
  try {
    connect_initially();
  } catch (...) {
    if (loop_ != nullptr) {
      loop_->stop();
    }
    throw;
  }
  ++active_clients;
}

mqtt_client_paho::~mqtt_client_paho() {
  --active_clients;
  connection_.give_up_operations();
  if (loop_ != nullptr) {
    loop_->stop();
    if (loop_->is_in_progress()) {
      log_->log(severity::warning,
                "Inconsistency detected: reconnect still counted as in progress, but thread has "
                "been joined");
    }
  }
  try {
    for (const auto& filter : subscriptions_.take_all_filters()) {
      if (is_connected()) {
        connection_.unsubscribe(filter);
      }
    }
  } catch (const std::exception& failure) {
    log_->log(severity::error, failure.what());
  }
}

void mqtt_client_paho::connect_initially() {
  log_->log(severity::debug, "Start initial connect.");
  auto connected = initial_connect_promise_.get_future();
  const auto began = clock::now();
  if (loop_ != nullptr) {
    loop_->note_attempt();
  }
  std::optional<std::string> name_failure;
  try {
    name_failure = look_up_name(host_, connect_timeout_, [] { return false; });
    attempt_began_ = clock::now().time_since_epoch().count();
    connection_.connect();
    log_->log(severity::debug, "Wait for initial connection attempt.");
    if (!await_first_attempt(connected)) {
      throw exceptions::tcp_connection_timeout();
    }
    connected.get();
    if (is_connected()) {
      connect_duration_ms_ =
          std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - began).count();
    }
  } catch (...) {
    first_connect_pending_ = false;
    first_attempt_failed(name_failure
                             ? std::make_exception_ptr(exceptions::client_failure(*name_failure))
                             : std::current_exception());
  }
}

bool mqtt_client_paho::await_first_attempt(std::future<void>& ended) {
  const auto began = clock::now();
  const auto deadline = began + longest_connecting(connect_timeout_.count());
  while (clock::now() < deadline) {
    // The library would look for the broker's answers when it next thinks of it.
    connection_.wake_library();
    const bool early = clock::now() - began < 50ms;
    if (ended.wait_for(early ? 1ms : 20ms) == std::future_status::ready) {
      return true;
    }
    if (!early) {
      connection_.wake_sender();
    }
  }
  return false;
}

void mqtt_client_paho::first_attempt_failed(const std::exception_ptr& failure) {
  connection_.explain_failure();
  if (!reconnects_) {
    log_failure(severity::error, "Initial connection attempt failed: ", failure);
    std::rethrow_exception(failure);
  }
  log_failure(severity::warning, "Connection attempt failed: ", failure);
  loop_->connection_lost();
}

void mqtt_client_paho::on_connect_success(const std::string& server_uri,
                                          int mqtt_version) noexcept {
  attempt_began_ = 0;
  log_->log(severity::notice,
            "Connected to: " + server_uri + " - MQTT Version: " + std::to_string(mqtt_version));
  if (first_connect_pending_.exchange(false)) {
    initial_connect_promise_.set_value();
  } else if (loop_ != nullptr) {
    loop_->connected();
  }
}

void mqtt_client_paho::on_connect_failure(std::exception_ptr failure) noexcept {
  attempt_began_ = 0;
  if (first_connect_pending_.exchange(false)) {
    initial_connect_promise_.set_exception(std::move(failure));
  } else {
    log_failure(severity::warning, "Connection attempt failed: ", failure);
  }
}

void mqtt_client_paho::on_connection_lost(const std::string& cause) noexcept {
  subscriptions_.connection_lost();
  unresponsive_ = false;
  log_->log(severity::info, with_cause("Connection lost", cause));
  if (loop_ != nullptr) {
    loop_->connection_lost();
  }
}

void mqtt_client_paho::on_connected(const std::string& cause) noexcept {
  log_->log(severity::info, with_cause("Connected", cause));
}

void mqtt_client_paho::on_message(std::shared_ptr<received_message> message) noexcept {
  subscriptions_.dispatch(message);
}

// A second attempt beside one that has not ended would only queue behind it. An end that never
// comes does not keep us waiting for good, though.
void mqtt_client_paho::attempt_to_connect() {
  const clock::rep began = attempt_began_;
  const clock::time_point overdue =
      clock::time_point(clock::duration(began)) + longest_connecting(connect_timeout_.count()) + 5s;
  if (began != 0 && clock::now() < overdue) {
    return;
  }
  connection_.explain_failure();
  try {
    const auto given_up = [this] { return loop_->is_stopping(); };
    if (const auto name_failure = look_up_name(host_, connect_timeout_, given_up)) {
      log_->log(severity::warning, *name_failure);
    }
  } catch (const exceptions::mqtt_failure& failure) {
    log_->log(severity::warning, std::string("Connection attempt failed: ") + failure.what());
    return;
  }
  attempt_began_ = clock::now().time_since_epoch().count();
  if (!connection_.reconnect()) {
    attempt_began_ = 0;
  }
  for (int i = 0; i < 50 && attempt_began_ != 0 && !loop_->is_stopping(); ++i) {
    connection_.wake_library();
    std::this_thread::sleep_for(10ms);
  }
}

void mqtt_client_paho::log_failure(int severity, const char* what,
                                   const std::exception_ptr& failure) noexcept try {
  std::rethrow_exception(failure);
} catch (const std::exception& exception) {
  log_->log(severity, std::string(what) + exception.what());
} catch (...) {
  log_->log(severity, what);
}

void mqtt_client_paho::look_after_connection() noexcept {
  if (loop_ != nullptr) {
    loop_->look_after();
  }
}

void mqtt_client_paho::publish(const std::string& topic, const std::string& payload,
                               const quality_of_service& qos, bool retain) {
  if (!is_connected()) {
    look_after_connection();
    throw exceptions::could_not_publish_not_connected();
  }
  require_transportable_payload(topic, payload);
  require_transportable_topic(topic);
  liblog::log_lazily(*log_, severity::debug, [&] { return "Publish message on: '" + topic + "'"; });
  const auto operation = connection_.publish(topic, payload, qos, retain);
  switch (await(operation, clock::now() + longest_publish_)) {
    case pending_operation::state::succeeded:
      return;
    case pending_operation::state::failed:
      std::rethrow_exception(
          make_exception_from_code(operation->failure_code(), operation->failure_text().c_str()));
    case pending_operation::state::given_up:
      throw exceptions::mqttasync_operation_incomplete();
    case pending_operation::state::disconnected:
      throw exceptions::mqttasync_disconnected();
    case pending_operation::state::running:
      throw exceptions::timeout("The broker did not acknowledge the message.");
  }
}

// The lines tell that we wait at all; the end itself wakes us.
pending_operation::state mqtt_client_paho::await(const paho_connection::operation_ptr& operation,
                                                 clock::time_point deadline) {
  for (bool first = true;; first = false) {
    const auto now = clock::now();
    if (now >= deadline) {
      return operation->current();
    }
    const auto slice =
        std::min<clock::duration>(first ? clock::duration(20ms) : 1s, deadline - now);
    const auto state = operation->wait_for(std::chrono::ceil<std::chrono::milliseconds>(slice));
    if (state != pending_operation::state::running) {
      return state;
    }
    if (!is_connected()) {
      operation->disconnected();
    } else if (first) {
      connection_.wake_sender();
    } else {
      log_->log(severity::debug,
                "Waiting for async complete of token: " + std::to_string(operation->token()));
    }
  }
}

void mqtt_client_paho::add_logger(std::shared_ptr<liblog::log_interface> logger, int level) {
  log_->attach(logger, level);
}

void mqtt_client_paho::remove_logger(std::shared_ptr<liblog::log_interface> logger) {
  log_->detach(logger);
}

std::size_t mqtt_client_paho::active_client_count() {
  return active_clients;
}

}  // namespace brunvik::monitoring_modules::mqtt
