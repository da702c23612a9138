#include "mqtt/sensors/subscribe_custom_sensor.hpp"

#include <algorithm>
#include <chrono>

#include "libjsonparser/exceptions.hpp"
#include "liblog/severity.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/sensors/client_settings.hpp"
#include "mqtt/sensors/custom_channels.hpp"
#include "mqtt/sensors/received_line.hpp"
#include "mqtt/sensors/warnings.hpp"

namespace brunvik::monitoring_modules::mqtt {

namespace responses = libkavuhelper::responses;
using settings::activation;
using settings::last_message;

namespace {

constexpr const char* repeated_message =
    "The broker has repeated a retained message; a newer one may have been missed.";

}  // namespace

subscribe_custom_sensor::subscribe_custom_sensor(
    const libkavuhelper::sensors::creation_context& context,
    const libkavuhelper::settings::sensor_data_wrapper& data)
    : sensor_base(context, data),
      kept_(
          persistent_data(), settings(),
          logger() == nullptr ? log_function{} : [this](const std::string& line) { log(line); }) {
  try {
    const auto time = kept_.time();
    latest_->set_time(time);
    continues_ = time.has_value();
    register_custom_channels(channels(), settings());
    subscribe();
  } catch (const std::exception& failure) {
    log(std::string("Exception during creation of mqtt client: ") + failure.what());
    report_creation_failure(failure);
    throw;
  }
}

subscribe_custom_sensor::~subscribe_custom_sensor() {
  subscription_.reset();
  try {
    keep_time_of_last_message();
  } catch (const std::exception& failure) {
    log(failure.what());
  }
}

void subscribe_custom_sensor::subscribe() {
  subscription_.emplace(*container(), id(), make_client_settings(settings(), shared_client_id),
                        logger(), settings().topic,
                        [latest = latest_, log = logger()](const auto& message) {
                          log_received(log.get(), *message);
                          latest->put(message);
                        });
  if (const auto connection = subscription_->connection()) {
    latest_->note_connection(*connection);
  }
}

// At most once per scan, however many messages there were.
void subscribe_custom_sensor::keep_time_of_last_message() {
  if (const auto time = latest_->time()) {
    kept_.set_time(*time);
  }
  send_persistent_data();
}

void subscribe_custom_sensor::work() {
  keep_time_of_last_message();
  subscription_->require_flowing();
  latest_->note_connection(*subscription_->connection());
  warnings doubts;
  doubts.add(subscription_->take_left_out_warning());
  const auto message = latest_->take();
  if (message == nullptr) {
    repeat_last_result(std::move(doubts));
  } else if (message->payload.empty()) {
    throw exceptions::payload_empty();
  } else {
    evaluate(*message, std::move(doubts));
  }
}

// A result that was doubtful when it was kept bears the code of a warning.
void subscribe_custom_sensor::repeat_last_result(warnings doubts) {
  log_lazily([] { return "No message received during scanning interval"; });
  auto result = make_result();
  if (settings().retain_last_message == last_message::retain) {
    if (kept_.has_result()) {
      log_lazily([] { return "loading last sensor result"; });
      const bool restored = kept_.restore(result);
      doubt_repetition(doubts, restored && (has_become_doubtful() ||
                                            result.get_response_code() ==
                                                responses::scan_response_codes::warning));
    } else {
      log_lazily([] { return "No initial message received"; });
    }
  }
  add_duration(result);
  doubts.apply_to(result);
  send(result);
}

void subscribe_custom_sensor::evaluate(const received_message& message, warnings doubts) {
  log_lazily([&] { return "Working with message: " + message.payload; });
  const auto document = container()->create<libparser::parser_interface>(message.payload);
  auto result = make_result();
  add_sensor_message(*document, message, result);

  const auto write =
      logger() == nullptr ? log_function{} : [this](const std::string& line) { log(line); };
  const std::string failures = read_custom_channels(*document, settings(), result, write);
  if (!failures.empty()) {
    auto failed = make_result();
    failed.set_response_code(responses::scan_response_codes::error);
    failed.set_response_message(libi18n::i18n_msg::verbatim(failures));
    send(failed);
    return;
  }
  const bool doubtful = is_doubtful(message, result);
  if (doubtful) {
    result.set_response_code(responses::scan_response_codes::warning);
  }
  kept_.set_result(result);
  send_persistent_data();
  log_lazily([] { return "last sensor value persisted"; });
  doubt_repetition(doubts, doubtful);
  add_duration(result);
  doubts.apply_to(result);
  send(result);
}

/// Whether a message may be older than what was seen before; remembers what the result rests on.
bool subscribe_custom_sensor::is_doubtful(const received_message& message,
                                          const scan_result& result) {
  repeated_ = std::nullopt;
  if (!latest_->is_repeated(message)) {
    continues_ = false;
    return false;
  }
  const bool doubtful = latest_->may_be_outdated(message) || (continues_ && !kept_.holds(result));
  repeated_ = repetition{message.connection, doubtful};
  return doubtful;
}

// A newer message may have been missed while the connection was away.
bool subscribe_custom_sensor::has_become_doubtful() const {
  return repeated_ && (repeated_->doubtful || repeated_->connection != subscription_->connection());
}

void subscribe_custom_sensor::doubt_repetition(warnings& doubts, bool doubtful) {
  if (doubtful) {
    doubts.add(repeated_message);
  }
  if (doubtful && !doubt_logged_) {
    log(repeated_message, liblog::severity::warning);
  }
  doubt_logged_ = doubtful;
}

void subscribe_custom_sensor::add_sensor_message(const libparser::parser_interface& document,
                                                 const received_message& message,
                                                 scan_result& result) {
  const std::string& path = settings().message_path;
  if (path.empty()) {
    return;
  }
  log_lazily([&] { return "Processing sensor message with json path: " + path; });
  try {
    const std::string value = document.query_string(path);
    log_lazily([&] { return "Found value: " + value; });
    result.set_response_message(libi18n::i18n_msg::verbatim(value));
  } catch (const libparser::exceptions::exception&) {
    log_lazily([&] { return "Error while processing sensor message with json path: " + path; });
    log_lazily([&] { return "Sensor Message: " + message.payload; });
    throw;
  }
}

// Shown with and without a new message; a clock that was set back gives 0.
void subscribe_custom_sensor::add_duration(scan_result& result) {
  if (settings().duration_since_last_message != activation::enable) {
    return;
  }
  log_lazily([] { return "Enabled duration channel"; });
  const auto time = latest_->time();
  if (!time) {
    return;
  }
  const auto elapsed =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now() - *time);
  const auto seconds = std::max<std::chrono::seconds::rep>(elapsed.count(), 0);
  log_lazily([&] { return "calculated: " + std::to_string(seconds) + " seconds"; });
  result.set_value(duration_channel, static_cast<long>(seconds));
}

}  // namespace brunvik::monitoring_modules::mqtt
