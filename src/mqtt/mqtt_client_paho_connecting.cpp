// The part of the client that brings its connection up, and hears of its end.

#include <algorithm>
#include <typeinfo>
#include <utility>

#include "liblog/severity.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/mqtt_client_paho.hpp"
#include "mqtt/name_lookup.hpp"
#include "mqtt/numeric_address.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;
namespace severity = liblog::severity;

namespace {

/// How long to look for the reason of a failed attempt, and of one whose time is nearly up.
constexpr auto longest_diagnosis = 2s;
constexpr auto shortest_diagnosis = 300ms;
constexpr auto longest_look = 1s;
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
  const auto deadline = created_ + connect_timeout_;
  const auto never = [] { return false; };
  if (loop_ != nullptr) {
    loop_->hold();
  }
  try {
    connect_somewhere(deadline, never);
    connect_duration_ms_ =
        std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - began).count();
  } catch (...) {
    const auto failure = explain(std::current_exception(), deadline, never);
    if (!reconnects_) {
      log_failure(severity::error, "Initial connection attempt failed: ", failure);
      std::rethrow_exception(failure);
    }
    log_failure(severity::warning, "Connection attempt failed: ", failure);
    loop_->look_after();
  }
  if (loop_ != nullptr) {
    loop_->resume();
  }
}

std::vector<std::string> mqtt_client_paho::look_up(clock::time_point deadline,
                                                   const std::function<bool()>& given_up) const {
  const auto ask = connection_.chooses_address_itself() ? foresee_address : look_up_name;
  return ask(host_, family_, deadline, given_up);
}

// What has answered last comes first. An address at which nobody takes the connection must leave
// time for the next one.
void mqtt_client_paho::connect_somewhere(clock::time_point deadline,
                                         const std::function<bool()>& given_up) {
  const auto addresses = look_up(deadline, given_up);
  for (std::size_t left = addresses.size();; --left) {
    const auto& address = addresses[next_address_ % addresses.size()];
    shown_address_ = parse_address(without_brackets(host_)) ? std::string() : address;
    const auto now = clock::now();
    try {
      const auto share = (deadline - now) / static_cast<clock::rep>(left);
      try_both_versions(address, {now + share, deadline, given_up});
      return;
    } catch (const exceptions::mqtt_failure& failure) {
      if (connection_.was_refused() || given_up()) {
        throw;
      }
      ++next_address_;
      if (left == 1 || clock::now() >= deadline) {
        throw;
      }
      log_->log(severity::warning,
                std::string("Connection attempt failed: ") + failure.what() + " (" + address + ")");
    }
  }
}

// When both fail, the reason of the first counts.
void mqtt_client_paho::try_both_versions(const std::string& address, const patience& limits) {
  try {
    attempt(address, protocol::mqtt_3_1_1, limits);
  } catch (const exceptions::mqtt_failure&) {
    if (!connection_.is_version_in_doubt() || clock::now() >= limits.at_most || limits.given_up() ||
        !succeeds_in_older_version(address, limits)) {
      throw;
    }
  }
}

bool mqtt_client_paho::succeeds_in_older_version(const std::string& address,
                                                 const patience& limits) {
  try {
    attempt(address, protocol::mqtt_3_1, limits);
    return true;
  } catch (const exceptions::mqtt_failure&) {
    return false;
  }
}

void mqtt_client_paho::attempt(const std::string& address, protocol version,
                               const patience& limits) {
  attempt_promise_ = std::make_shared<std::promise<void>>();
  auto ended = attempt_promise_->get_future();
  attempt_pending_ = true;
  try {
    if (std::exchange(has_attempted_, true)) {
      connection_.reconnect(address, version);
    } else {
      connection_.connect(address, version);
      log_->log(severity::debug, "Wait for initial connection attempt.");
    }
    await_attempt(ended, limits);
  } catch (...) {
    attempt_pending_ = false;
    throw;
  }
}

// Shortly before time is up somebody has a look at how far one gets with the broker: the library
// does not know.
void mqtt_client_paho::await_attempt(std::future<void>& ended, const patience& limits) {
  const auto began = clock::now();
  // A further attempt at an address that has taken a connection has all the time that is left.
  const auto without_tcp = limits.without_tcp > began ? limits.without_tcp : limits.at_most;
  const auto look = std::clamp<clock::duration>((without_tcp - began) / 2, 0s, longest_look);
  const auto is_ended = [&] { return is_ended_by(ended, began, clock::now(), limits.given_up); };
  if (!is_ended_by(ended, began, without_tcp - look, limits.given_up)) {
    const auto found = connection_.examine(without_tcp, is_ended);
    const auto limit = found.stage == reached::nothing ? without_tcp : limits.at_most;
    if (!is_ended_by(ended, began, limit, limits.given_up) && connection_.end_attempt()) {
      log_silence(found, began);
      throw exceptions::tcp_connection_timeout();
    }
  }
  if (limits.given_up() && attempt_pending_) {
    throw exceptions::mqttasync_operation_incomplete();
  }
  if (ended.wait_for(1s) != std::future_status::ready) {
    throw exceptions::tcp_connection_timeout();  // nobody tells how it has ended
  }
  ended.get();
}

// Or because nobody is interested any more. The library would look for the broker's answers when it
// next thinks of it.
bool mqtt_client_paho::is_ended_by(const std::future<void>& ended, clock::time_point began,
                                   clock::time_point limit, const std::function<bool()>& given_up) {
  for (;;) {
    connection_.wake_library();
    const auto now = clock::now();
    const auto so_far = now - began;
    const auto slice = so_far < 50ms ? clock::duration(1ms)
                                     : std::clamp<clock::duration>(so_far / 20, 20ms, 100ms);
    const auto ready = std::future_status::ready;
    if (ended.wait_for(std::clamp<clock::duration>(limit - now, 0ms, slice)) == ready ||
        given_up()) {
      return true;
    }
    if (clock::now() >= limit) {
      return false;
    }
    if (so_far >= 50ms) {
      connection_.wake_sender();
    }
  }
}

void mqtt_client_paho::log_silence(const diagnosis& found, clock::time_point began) {
  const bool is_unclear = found.stage == reached::unknown || !found.fault.empty();
  const char* missing = is_unclear                        ? "no answer"
                        : found.stage == reached::nothing ? "no TCP connection"
                        : found.stage == reached::tcp && connection_.uses_tls()
                            ? "no TLS handshake"
                            : "no answer to CONNECT";
  const auto waited = std::chrono::round<std::chrono::milliseconds>(clock::now() - began);
  log_->log(severity::warning, "The broker is silent: " + std::string(missing) + " within " +
                                   std::to_string(waited.count()) + " ms" +
                                   (shown_address_.empty() ? "" : " from " + shown_address_));
}

// The reason is looked for in what is left of the time, and a moment at least.
std::exception_ptr mqtt_client_paho::explain(std::exception_ptr failure, clock::time_point deadline,
                                             const std::function<bool()>& given_up) noexcept try {
  const auto now = clock::now();
  const std::string reason = connection_.explain_failure(
      std::clamp(deadline, now + shortest_diagnosis, now + longest_diagnosis), given_up);
  if (reason.empty()) {
    return failure;
  }
  log_->log(severity::error, "TLS: " + reason);
  try {
    std::rethrow_exception(failure);
  } catch (const exceptions::client_failure& unnamed) {
    const bool has_words_to_fill = typeid(unnamed) == typeid(exceptions::client_failure);
    return has_words_to_fill ? std::make_exception_ptr(exceptions::client_failure(reason))
                             : failure;
  }
} catch (...) {
  return failure;
}

void mqtt_client_paho::on_connect_success(const std::string& server_uri,
                                          int mqtt_version) noexcept {
  if (loop_ != nullptr) {
    loop_->connected();
  }
  log_->log(severity::notice, "Connected to: " + server_uri +
                                  " - MQTT Version: " + std::to_string(mqtt_version) +
                                  (shown_address_.empty() ? "" : " (" + shown_address_ + ")"));
  if (attempt_pending_.exchange(false)) {
    const auto promise = attempt_promise_;
    promise->set_value();
  }
}

void mqtt_client_paho::on_connect_failure(std::exception_ptr failure) noexcept {
  if (attempt_pending_.exchange(false)) {
    const auto promise = attempt_promise_;
    promise->set_exception(std::move(failure));
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

void mqtt_client_paho::attempt_to_connect() {
  if (connection_.library_says_connected()) {
    return;
  }
  const auto given_up = [this] { return loop_->is_stopping(); };
  const auto deadline = clock::now() + connect_timeout_;
  try {
    connect_somewhere(deadline, given_up);
  } catch (const exceptions::mqtt_failure&) {
    if (!given_up()) {
      log_failure(severity::warning, "Connection attempt failed: ",
                  explain(std::current_exception(), deadline, given_up));
    }
  }
}

void mqtt_client_paho::verify_connection() try {
  if (!is_connected()) {
    return;
  }
  connection_.look_after_waker();
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
