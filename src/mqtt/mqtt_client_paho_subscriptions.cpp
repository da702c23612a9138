// The part of the client that changes what the broker sends us.

#include <algorithm>

#include "liblog/severity.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/failure_mapping.hpp"
#include "mqtt/mqtt_client_paho.hpp"
#include "mqtt/transportable.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;
namespace severity = liblog::severity;

namespace {

/// How long the end of a subscription may wait for the broker, and for its turn to ask it.
constexpr auto release_limit = 500ms;
/// A refusal in the answer to a subscription (MQTT 3.1.1, section 3.9.3). Some brokers give the
/// reason in the words of MQTT 5, which are above it.
constexpr int refused = 0x80;

std::exception_ptr make_refusal(const std::string& filter) {
  return std::make_exception_ptr(
      exceptions::client_failure("The broker refused the subscription to '" + filter + "'."));
}

}  // namespace

void mqtt_client_paho::subscribe(std::shared_ptr<topic_subscription_interface> subscription) {
  const std::string filter = subscription->topic();
  require_transportable_filter(filter);
  // The entry comes first: a retained message can arrive before the broker's answer, and a
  // connection that comes up meanwhile finds what it has to renew.
  const auto added = subscriptions_.add(subscription);
  try {
    if (is_connected()) {
      subscribe_at_broker(filter, added);
    } else {
      look_after_connection();
    }
  } catch (...) {
    if (added != subscription_registry::addition::none) {
      subscriptions_.remove(subscription);
      subscriptions_.abandon(filter);
      release_abandoned();
    }
    throw;
  }
  log_->log(severity::info, "Registered subscription to '" + filter + "'");
}

void mqtt_client_paho::subscribe_at_broker(const std::string& filter,
                                           subscription_registry::addition added) {
  const auto deadline = clock::now() + connect_timeout_;
  const broker_turn::holder turn(turn_, deadline);
  if (!turn.is_held()) {
    throw exceptions::timeout("The broker does not answer.");
  }
  // A renewal that came first has asked for it already, and a second request would bring the
  // retained messages once more. Another sensor of a known filter needs just those.
  if (added == subscription_registry::addition::of_new_filter &&
      subscriptions_.is_granted(filter)) {
    return;
  }
  const auto connection = subscriptions_.current_connection();
  await_subscription(connection_.subscribe(filter), filter, connection, deadline);
}

void mqtt_client_paho::await_subscription(const paho_connection::operation_ptr& operation,
                                          const std::string& filter,
                                          subscription_registry::connection_number connection,
                                          clock::time_point deadline) {
  switch (await(operation, deadline)) {
    case pending_operation::state::succeeded:
      if (operation->granted_qos() >= refused) {
        std::rethrow_exception(make_refusal(filter));
      }
      subscriptions_.set_granted(filter, connection);
      log_->log(severity::info, "Subscribed to '" + filter + "'");
      return;
    case pending_operation::state::failed:
      std::rethrow_exception(operation->failure_code() >= refused
                                 ? make_refusal(filter)
                                 : make_exception_from_code(operation->failure_code(),
                                                            operation->failure_text().c_str()));
    case pending_operation::state::disconnected:
      throw exceptions::mqttasync_disconnected();
    case pending_operation::state::given_up:
      throw exceptions::mqttasync_operation_incomplete();
    case pending_operation::state::running:
      throw exceptions::timeout("The broker did not answer the subscription to '" + filter + "'.");
  }
}

void mqtt_client_paho::unsubscribe(std::shared_ptr<topic_subscription_interface> subscription) {
  const std::string filter = subscription->topic();
  log_->log(severity::info, "Unsubscribe from '" + filter + "'");
  if (subscriptions_.remove(subscription)) {
    log_->log(severity::info, "Deleted subscription for '" + filter + "'");
  }
  if (!subscriptions_.has_entries(filter) && is_connected()) {
    release_at_broker(filter);
  }
}

void mqtt_client_paho::release_at_broker(const std::string& filter) {
  const bool waits = !answers_.is_silent();
  const auto deadline = clock::now() + (waits ? release_limit : 0s);
  {
    const broker_turn::holder turn(turn_, deadline);
    if (!turn.is_held()) {
      subscriptions_.abandon(filter);
      return;
    }
    if (subscriptions_.has_entries(filter)) {
      return;  // somebody has subscribed to it since
    }
    const auto operation = connection_.unsubscribe(filter);
    if (await(operation, deadline) == pending_operation::state::succeeded) {
      log_->log(severity::info, "Unsubscribed topic '" + filter + "'");
    } else if (operation->current() == pending_operation::state::running) {
      answers_.watch(operation);
      if (waits) {
        log_->log(severity::warning,
                  "The broker did not answer the end of the subscription to '" + filter + "'");
      }
    }
  }
  release_abandoned();
}

// Filters that nobody is left to unsubscribe: their last subscription was dropped without a word,
// or somebody else had the turn. The broker is told without waiting for what it says.
void mqtt_client_paho::release_abandoned() noexcept try {
  if (!subscriptions_.has_abandoned() || !is_connected()) {
    return;
  }
  const broker_turn::holder turn(turn_, clock::now());
  if (!turn.is_held()) {
    return;
  }
  for (const auto& filter : subscriptions_.take_abandoned()) {
    connection_.unsubscribe(filter);
  }
} catch (const std::exception& failure) {
  log_->log(severity::warning, failure.what());
}

// For the end of the client. All are asked for at once, and waited for together.
void mqtt_client_paho::release_all() noexcept try {
  if (!is_connected()) {
    return;
  }
  const auto deadline = clock::now() + (answers_.is_silent() ? 0s : release_limit);
  connection_.accept_operations();
  std::vector<std::pair<std::string, paho_connection::operation_ptr>> asked;
  for (const auto& [filter, live] : subscriptions_.take_all_filters()) {
    for (std::size_t i = 0; i < live; ++i) {
      log_->log(severity::info, "Unsubscribe from '" + filter + "'");
      log_->log(severity::info, "Deleted subscription for '" + filter + "'");
    }
    try {
      if (is_connected()) {
        asked.emplace_back(filter, connection_.unsubscribe(filter));
      }
    } catch (const exceptions::mqtt_failure& failure) {
      log_->log(severity::error, failure.what());
    }
  }
  for (const auto& [filter, operation] : asked) {
    if (await(operation, deadline) == pending_operation::state::succeeded) {
      log_->log(severity::info, "Unsubscribed topic '" + filter + "'");
    }
  }
} catch (const std::exception& failure) {
  log_->log(severity::error, failure.what());
}

bool mqtt_client_paho::renew_subscriptions() {
  {
    const broker_turn::holder turn(turn_, clock::now() + connect_timeout_);
    if (!turn.is_held()) {
      return false;
    }
    for (const auto& batch : subscriptions_.pending_filters()) {
      renew_batch(batch);
    }
  }
  release_abandoned();
  return connection_.library_says_connected() && !subscriptions_.has_pending();
}

void mqtt_client_paho::renew_batch(const std::vector<std::string>& filters) {
  std::vector<std::pair<std::string, paho_connection::operation_ptr>> asked;
  try {
    const auto deadline = clock::now() + connect_timeout_;
    const auto connection = subscriptions_.current_connection();
    for (const auto& filter : filters) {
      if (subscriptions_.has_entries(filter)) {
        asked.emplace_back(filter, connection_.subscribe(filter));
      }
    }
    for (const auto& [filter, operation] : asked) {
      renew(filter, operation, connection, deadline);
    }
  } catch (const exceptions::mqttasync_disconnected&) {
    connection_.let_library_finish();  // it ends one operation after the other
    std::vector<std::string> unanswered;
    for (const auto& [filter, operation] : asked) {
      if (operation->current() == pending_operation::state::disconnected) {
        unanswered.push_back(filter);
      }
    }
    subscriptions_.suspect(unanswered);
    throw;
  }
}

void mqtt_client_paho::renew(const std::string& filter,
                             const paho_connection::operation_ptr& operation,
                             subscription_registry::connection_number connection,
                             clock::time_point deadline) {
  try {
    await_subscription(operation, filter, connection, deadline);
    for (auto live = subscriptions_.live_count(filter); live > 0; --live) {
      log_->log(severity::info, "Registered subscription to '" + filter + "'");
    }
  } catch (const exceptions::mqttasync_disconnected&) {
    throw;
  } catch (const exceptions::mqtt_failure& failure) {
    subscriptions_.set_failed(filter, connection, failure.message());
    log_->log(severity::error,
              "Subscription to '" + filter + "' could not be renewed: " + failure.what());
  }
}

std::uint64_t mqtt_client_paho::require_subscribed(const std::string& filter) {
  if (!is_connected()) {
    look_after_connection();
    throw exceptions::connection_lost();
  }
  try {
    return subscriptions_.require_granted(filter);
  } catch (const exceptions::mqtt_failure&) {
    if (subscriptions_.has_pending()) {
      look_after_connection();
    }
    throw;
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
