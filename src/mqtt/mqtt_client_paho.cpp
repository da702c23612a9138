#include "mqtt/mqtt_client_paho.hpp"

#include <algorithm>

#include "liblog/severity.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/failure_mapping.hpp"
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

}  // namespace

mqtt_client_paho::mqtt_client_paho(
    const mqtt_client_settings& settings,
    std::weak_ptr<libstringutils::random_string_generator_interface> random_generator)
    : host_(settings.host),
      family_(settings.family),
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
  release_all();
}

void mqtt_client_paho::on_message(std::shared_ptr<received_message> message) noexcept {
  arrived_.store(true, std::memory_order_relaxed);
  subscriptions_.dispatch(message);
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
      if (operation->is_answered()) {
        answers_.clear();
      }
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
