// The part of the client that brings its connection up, and hears of its end.

#include <algorithm>
#include <thread>

#include "liblog/severity.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/mqtt_client_paho.hpp"
#include "mqtt/name_lookup.hpp"
#include "mqtt/time_limits.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;
namespace severity = liblog::severity;

namespace {

/// How long to look for the reason of a failed attempt.
constexpr auto longest_diagnosis = 2s;
/// How long nothing may arrive before the broker is asked whether it is there, and how long it may
/// take to answer: more each time, since the answer may stand behind a long message on a slow line.
constexpr auto longest_quiet = 20s;
constexpr std::chrono::seconds shortest_patience = 30s;
constexpr std::chrono::seconds longest_patience = 300s;
constexpr const char* nobodys_filter = "kavu/is-anybody-there";

std::string with_cause(const char* event, const std::string& cause) {
  return cause.empty() ? event : std::string(event) + " - Cause: " + cause;
}

}  // namespace

void mqtt_client_paho::connect_initially() {
  log_->log(severity::debug, "Start initial connect.");
  const auto began = clock::now();
  const auto deadline = began + longest_connecting(connect_timeout_.count());
  if (loop_ != nullptr) {
    loop_->note_attempt();
  }
  try {
    const auto addresses = look_up(began + connect_timeout_, [] { return false; });
    try_all(addresses, began + connect_timeout_, deadline);
    if (is_connected()) {
      connect_duration_ms_ =
          std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - began).count();
    }
  } catch (...) {
    first_connect_pending_ = false;
    first_attempt_failed(std::current_exception(), deadline);
  }
}

std::vector<std::string> mqtt_client_paho::look_up(clock::time_point deadline,
                                                   const std::function<bool()>& given_up) const {
  const auto ask = connection_.chooses_address_itself() ? foresee_address : look_up_name;
  return ask(host_, family_, deadline, given_up);
}

// The next address is only for when the one before led to nobody who answers, and soon.
void mqtt_client_paho::try_all(const std::vector<std::string>& addresses,
                               clock::time_point patience, clock::time_point deadline) {
  for (const auto& address : addresses) {
    try {
      try_both_versions(address, deadline);
      return;
    } catch (const exceptions::tcp_tls_connect_failure&) {
      if (&address == &addresses.back() || clock::now() >= patience) {
        throw;
      }
    }
  }
}

// When both fail, the reason of the first counts.
void mqtt_client_paho::try_both_versions(const std::string& address, clock::time_point deadline) {
  try {
    make_first_attempt(address, protocol::mqtt_3_1_1, deadline);
  } catch (const exceptions::mqtt_failure&) {
    if (!connection_.is_version_in_doubt() || clock::now() >= deadline ||
        !succeeds_in_older_version(address, deadline)) {
      throw;
    }
  }
}

bool mqtt_client_paho::succeeds_in_older_version(const std::string& address,
                                                 clock::time_point deadline) {
  try {
    make_first_attempt(address, protocol::mqtt_3_1, deadline);
    return true;
  } catch (const exceptions::mqtt_failure&) {
    return false;
  }
}

void mqtt_client_paho::make_first_attempt(const std::string& address, protocol version,
                                          clock::time_point deadline) {
  initial_connect_promise_ = {};
  first_connect_pending_ = true;
  auto connected = initial_connect_promise_.get_future();
  attempt_began_ = clock::now().time_since_epoch().count();
  try {
    connection_.connect(address, version);
  } catch (...) {
    attempt_began_ = 0;
    throw;
  }
  log_->log(severity::debug, "Wait for initial connection attempt.");
  if (!await_first_attempt(connected, deadline)) {
    throw exceptions::tcp_connection_timeout();
  }
  connected.get();
}

bool mqtt_client_paho::await_first_attempt(std::future<void>& ended, clock::time_point deadline) {
  const auto began = clock::now();
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

// The reason is looked for in what is left of the time, and half a second at least.
void mqtt_client_paho::first_attempt_failed(const std::exception_ptr& failure,
                                            clock::time_point deadline) {
  const auto now = clock::now();
  connection_.explain_failure(std::clamp(deadline, now + 500ms, now + longest_diagnosis),
                              [] { return false; });
  if (!reconnects_) {
    log_failure(severity::error, "Initial connection attempt failed: ", failure);
    std::rethrow_exception(failure);
  }
  log_failure(severity::warning, "Connection attempt failed: ", failure);
  loop_->look_after();  // which also serves one that has succeeded just after its time
}

void mqtt_client_paho::on_connect_success(const std::string& server_uri,
                                          int mqtt_version) noexcept {
  attempt_began_ = 0;
  if (loop_ != nullptr) {
    loop_->connected();
  }
  log_->log(severity::notice,
            "Connected to: " + server_uri + " - MQTT Version: " + std::to_string(mqtt_version));
  if (first_connect_pending_.exchange(false)) {
    initial_connect_promise_.set_value();
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
  answers_.clear();
  log_->log(severity::info, with_cause("Connection lost", cause));
  if (loop_ != nullptr) {
    loop_->connection_lost();
  }
}

void mqtt_client_paho::on_connected(const std::string& cause) noexcept {
  if (loop_ != nullptr) {
    loop_->connected();  // also when it was the library's own idea
  }
  log_->log(severity::info, with_cause("Connected", cause));
}

// A second attempt beside one that has not ended would only queue behind it. An end that never
// comes does not keep us waiting for good, though.
void mqtt_client_paho::attempt_to_connect() {
  const clock::rep began = attempt_began_;
  const clock::time_point overdue =
      clock::time_point(clock::duration(began)) + longest_connecting(connect_timeout_.count()) + 5s;
  if ((began != 0 && clock::now() < overdue) || connection_.library_says_connected()) {
    return;
  }
  const auto given_up = [this] { return loop_->is_stopping(); };
  connection_.explain_failure(clock::now() + longest_diagnosis, given_up);
  try {
    const auto addresses = look_up(clock::now() + connect_timeout_, given_up);
    const auto patience = clock::now() + connect_timeout_;
    // A broker of several addresses may have lost the one that comes first.
    for (std::size_t tried = 0; tried < addresses.size() && clock::now() < patience; ++tried) {
      make_further_attempts(addresses[next_address_ % addresses.size()]);
      if (is_connected() || connection_.was_refused() || given_up()) {
        break;  // what has answered is what comes first next time
      }
      ++next_address_;
    }
  } catch (const exceptions::mqtt_failure& failure) {
    log_->log(severity::warning, std::string("Connection attempt failed: ") + failure.what());
  }
}

void mqtt_client_paho::make_further_attempts(const std::string& address) {
  make_further_attempt(address, protocol::mqtt_3_1_1);
  if (!is_connected() && connection_.is_version_in_doubt() && !loop_->is_stopping()) {
    make_further_attempt(address, protocol::mqtt_3_1);
  }
}

// Ends with the attempt, or with the client.
void mqtt_client_paho::make_further_attempt(const std::string& address, protocol version) {
  const auto began = clock::now();
  const auto deadline = began + connect_timeout_ + 1s;
  attempt_began_ = began.time_since_epoch().count();
  if (!connection_.reconnect(address, version)) {
    attempt_began_ = 0;
  }
  while (attempt_began_ != 0 && !loop_->is_stopping() && clock::now() < deadline) {
    const bool early = clock::now() - began < 500ms;
    if (early) {
      connection_.wake_library();
    }
    std::this_thread::sleep_for(early ? 5ms : 20ms);
  }
}

void mqtt_client_paho::verify_connection() try {
  if (!is_connected()) {
    return;
  }
  if (!connection_.library_says_connected()) {
    connection_.report_loss();
  } else if (!is_answering()) {
    log_->log(severity::warning, "The broker does not answer any more.");
    connection_.break_off();
  } else {
    release_abandoned();
    if (subscriptions_.has_pending()) {
      loop_->look_after();  // one is not held back any more
    }
  }
} catch (const exceptions::mqttasync_disconnected&) {
  // The library tells of the loss itself.
}

// A network that is gone and a broker that is stopped end no connection. The keep-alive interval
// would find that out after minutes, whose counts would pass for quiet ones. So whenever nothing
// has arrived for a while something is asked: the end of a subscription that nobody has, which
// every broker acknowledges (MQTT 3.1.1, section 3.10.4).
bool mqtt_client_paho::is_answering() {
  const auto now = clock::now();
  if (arrived_.exchange(false)) {
    quiet_since_ = now;
  }
  if (now < quiet_since_ + longest_quiet) {
    return true;
  }
  quiet_since_ = now;
  std::string question = nobodys_filter;
  while (subscriptions_.has_entries(question)) {
    question += '-';  // somebody's after all
  }
  const auto asked = connection_.unsubscribe(question);
  const bool answered =
      await(asked, now + patience_) != pending_operation::state::running || arrived_;
  const bool soon = clock::now() < now + shortest_patience;
  patience_ = soon ? shortest_patience : std::min(2 * patience_, longest_patience);
  return answered;
}

void mqtt_client_paho::log_failure(int severity, const char* what,
                                   const std::exception_ptr& failure) noexcept try {
  std::rethrow_exception(failure);
} catch (const std::exception& exception) {
  log_->log(severity, std::string(what) + exception.what());
} catch (...) {
  log_->log(severity, what);
}

}  // namespace brunvik::monitoring_modules::mqtt
