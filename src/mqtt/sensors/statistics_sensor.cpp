#include "mqtt/sensors/statistics_sensor.hpp"

#include "mqtt/sensors/client_settings.hpp"
#include "mqtt/sensors/messages.hpp"
#include "mqtt/sensors/received_line.hpp"
#include "mqtt/sensors/warnings.hpp"

namespace brunvik::monitoring_modules::mqtt {

namespace channels = libkavuhelper::channels;

namespace {

enum channel : std::int32_t { messages_received = 0, payload_received = 1, active_topics = 2 };

const channels::dynamic_channel_options count_options{.kind = channels::channel_kind::integer,
                                                      .unit = channels::channel_unit::count};
const channels::dynamic_channel_options byte_options{.kind = channels::channel_kind::integer,
                                                     .unit = channels::channel_unit::bytes,
                                                     .bits_per_unit = 8,
                                                     .per_seconds = 0};

constexpr const char* too_many_topics =
    "There were more active topics than can be counted in one scanning interval.";
constexpr const char* interrupted =
    "The connection was lost for a time since the last scan; messages may be missing.";

}  // namespace

statistics_sensor::statistics_sensor(const libkavuhelper::sensors::creation_context& context,
                                     const libkavuhelper::settings::sensor_data_wrapper& data)
    : sensor_base(context, data) {
  try {
    subscribe();
    register_channels();
  } catch (const std::exception& failure) {
    log(std::string("Exception during creation of mqtt client: ") + failure.what());
    report_creation_failure(failure);
    throw;
  }
}

void statistics_sensor::subscribe() {
  subscription_.emplace(*container(), id(), make_client_settings(settings(), shared_client_id),
                        logger(), settings().topic,
                        [counters = counters_, log = logger()](const auto& message) {
                          log_received(log.get(), *message);
                          counters->count(*message);
                        });
}

void statistics_sensor::register_channels() {
  const auto offer = [this](channel id, const libi18n::i18n_msg& name, const auto& options) {
    if (!channels().is_definition_registered(id)) {
      channels().register_definition(id, name, options);
    }
  };
  offer(messages_received, messages::channel_count_messages_received(), count_options);
  offer(payload_received, messages::channel_bytes_payload_received(), byte_options);
  offer(active_topics, messages::channel_active_topics(), count_options);
}

void statistics_sensor::work() {
  const bool complete = subscription_->require_flowing();
  const auto counted = counters_->take();
  auto result = make_result();
  log_lazily([&] { return "Number of message received: " + std::to_string(counted.messages); });
  log_lazily(
      [&] { return "Number of payload bytes received: " + std::to_string(counted.payload_bytes); });
  result.set_value(messages_received, static_cast<long>(counted.messages));
  result.set_value(payload_received, static_cast<long>(counted.payload_bytes));
  if (counted.active_topics) {
    log_lazily(
        [&] { return "Number of active topics: " + std::to_string(*counted.active_topics); });
    result.set_value(active_topics, static_cast<long>(*counted.active_topics));
  }
  warnings doubts;
  doubts.add(complete ? "" : interrupted);
  doubts.add(counted.active_topics ? "" : too_many_topics);
  doubts.add(subscription_->take_left_out_warning());
  doubts.apply_to(result);
  send(result);
}

}  // namespace brunvik::monitoring_modules::mqtt
