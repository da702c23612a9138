#include "mqtt/sensors/roundtrip_sensor.hpp"

#include <algorithm>
#include <chrono>
#include <thread>

#include "liblog/severity.hpp"
#include "libstringutils/expand_variables.hpp"
#include "libstringutils/random_string_generator.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/sensors/client_settings.hpp"
#include "mqtt/sensors/messages.hpp"
#include "mqtt/sensors/roundtrip_reply.hpp"
#include "mqtt/topic_subscription.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;
namespace channels = libkavuhelper::channels;
namespace responses = libkavuhelper::responses;
namespace severity = liblog::severity;
using libstringutils::random_string_generator_interface;

namespace {

enum channel : std::int32_t {
  round_trip_time = 0,
  publish_connection_time = 1,
  subscribe_connection_time = 2,
  state_reached = 3
};

constexpr std::size_t suffix_length = 3;
constexpr std::size_t payload_length = 1024;
/// So that the subscription is in place at brokers that answer before it is.
constexpr auto settling_time = 1s;
/// A year: what a clock can be asked to wait for.
constexpr std::int64_t longest_timeout = 365LL * 24 * 3600;

const channels::dynamic_channel_options time_options{.kind = channels::channel_kind::integer,
                                                     .unit = channels::channel_unit::milliseconds};
const channels::dynamic_channel_options state_options{.kind = channels::channel_kind::integer,
                                                      .lookup_name = "rttstate"};

std::string draw(libkavuhelper::module::service_container& container, std::size_t length) {
  return container.get_or_create<random_string_generator_interface>()->generate(length);
}

}  // namespace

roundtrip_sensor::roundtrip_sensor(const libkavuhelper::sensors::creation_context& context,
                                   const libkavuhelper::settings::sensor_data_wrapper& data)
    : sensor_base(context, data), instance_suffix_(draw(*container(), suffix_length)) {}

void roundtrip_sensor::work() {
  const std::lock_guard lock(scan_mutex_);
  register_channels();
  auto result = make_result();
  auto reached = state::subscriber_could_not_connect;
  try {
    run(result, reached);
  } catch (const libi18n::i18n_exception& failure) {
    log(failure.what(), severity::error);
    result.set_failure(failure);
  } catch (const std::exception& failure) {
    log(failure.what(), severity::critical);
    result.set_failure(failure);
  }
  result.set_value(state_reached, static_cast<long>(reached));
  send(result);
}

void roundtrip_sensor::run(responses::sensor_scan_result& result, state& reached) {
  const std::string payload = draw(*container(), payload_length);
  const std::string topic = expand(settings().topic) + "_" + instance_suffix_;
  const auto reply = std::make_shared<roundtrip_reply>();
  const auto subscription = std::make_shared<topic_subscription>(
      topic, [reply, log = logger()](const std::shared_ptr<received_message>& message) {
        reply->arrived(message->payload);
        if (log != nullptr) {
          log->log(severity::debug, "Received payload: " + message->payload);
        }
      });

  const auto subscriber = connect("S");
  subscriber->subscribe(subscription);
  subscriber->require_subscribed(topic);  // a connection that has gone meanwhile is no failure yet

  reached = state::publisher_could_not_connect;
  result.set_value(subscribe_connection_time, subscriber->connect_duration_ms());
  const auto publisher = connect("P");
  result.set_value(publish_connection_time, publisher->connect_duration_ms());

  reached = state::message_not_sent;
  std::this_thread::sleep_for(settling_time);
  subscriber->expect_arrival();
  const auto published = reply->begin();
  publisher->publish(topic, payload, quality_of_service::at_least_once, false);

  reached = state::message_not_received;
  const std::chrono::seconds timeout(
      std::clamp<std::int64_t>(settings().common.timeout, 0, longest_timeout));
  const auto arrival = reply->wait_until(published + timeout);
  if (!arrival) {
    result.set_response_code(responses::scan_response_codes::wrong_answer);
    throw exceptions::timeout("");
  }

  reached = state::roundtrip_complete;
  if (arrival->payload != payload) {
    result.set_response_code(responses::scan_response_codes::wrong_answer);
    throw exceptions::payload_corrupted();  // whatever it is, its time is not our message's
  }
  result.set_value(
      round_trip_time,
      std::chrono::duration_cast<std::chrono::milliseconds>(arrival->time - published).count());
}

void roundtrip_sensor::register_channels() {
  const auto offer = [this](channel id, const libi18n::i18n_msg& name, const auto& options) {
    if (!channels().is_definition_registered(id)) {
      channels().register_definition(id, name, options);
    }
  };
  offer(round_trip_time, messages::channel_round_trip_time(), time_options);
  offer(publish_connection_time, messages::channel_publish_connection_time(), time_options);
  offer(subscribe_connection_time, messages::channel_subscribe_connection_time(), time_options);
  offer(state_reached, messages::channel_state(), state_options);
}

// A client of this scan alone: it is not entered in the store, has no random suffix, and does not
// come back when it is lost.
std::unique_ptr<mqtt_client_interface> roundtrip_sensor::connect(const std::string& role) {
  auto client_settings =
      make_client_settings(settings(), expand(settings().client_id) + role + instance_suffix_);
  client_settings.client_id_suffix_length = 0;
  client_settings.automatic_reconnect = false;
  client_settings.logger = logger();
  auto client = container()->create<mqtt_client_interface>(client_settings);
  client->add_logger(logger(), severity::debug);
  if (client->connect_duration_ms() < 0) {
    throw exceptions::connection_lost();  // as soon as it was there
  }
  return client;
}

std::string roundtrip_sensor::expand(const std::string& text) {
  log_lazily([&] { return "Expanding string: " + text; });
  auto expanded = libstringutils::expand_variables(text, {{"sensorid", std::to_string(id())}});
  log_lazily([&] { return "Expanded string: " + expanded; });
  return expanded;
}

}  // namespace brunvik::monitoring_modules::mqtt
