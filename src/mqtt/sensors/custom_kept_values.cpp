#include "mqtt/sensors/custom_kept_values.hpp"

#include <utility>

namespace brunvik::monitoring_modules::mqtt {
namespace {

constexpr const char* time_key = "time_of_last_message";
constexpr const char* result_key = "last_sensor_result";
constexpr const char* fingerprint_key = "fingerprint";

/// Topic, paths and types; two sensors that differ in any of them have different ones.
std::string make_fingerprint(const settings::subscribe_custom_sensor& settings) {
  std::string text;
  const auto add = [&text](const std::string& part) {
    text += std::to_string(part.size()) + ":" + part + ",";
  };
  add(settings.topic);
  add(settings.message_path);
  for (const auto& channel : settings.channels) {
    add(channel.is_on() ? channel.jsonpath : "");
    add(channel.is_on() ? std::to_string(static_cast<int>(channel.type)) : "");
  }
  return text;
}

}  // namespace

custom_kept_values::custom_kept_values(storage& kept,
                                       const settings::subscribe_custom_sensor& settings,
                                       log_function log)
    : kept_(kept), fingerprint_(make_fingerprint(settings)), log_(std::move(log)) {
  const auto known = get(fingerprint_key);
  if (known == fingerprint_) {
    return;
  }
  // An earlier version has not said what its result is of.
  if (get(result_key)) {
    this->log(std::string("The last sensor result is ignored: ") +
              (known ? "it is of another topic, or of other paths or types."
                     : "it does not say which topic and paths it is of."));
    forget(result_key);
  }
  if (known && get(time_key)) {
    this->log(
        "The time of the last message is ignored: it is of another topic, or of other paths "
        "or types.");
    forget(time_key);
  }
}

std::optional<libtimeutils::time_point> custom_kept_values::time() const {
  const auto text = get(time_key);
  if (!text) {
    return std::nullopt;
  }
  try {
    return libtimeutils::parse(*text, libtimeutils::iso_8601);
  } catch (const std::exception& failure) {
    log(std::string("The time of the last message is ignored: ") + failure.what());
    return std::nullopt;
  }
}

void custom_kept_values::set_time(libtimeutils::time_point time) {
  kept_.set(fingerprint_key, fingerprint_);
  kept_.set(time_key, libtimeutils::format(time, libtimeutils::iso_8601));
}

bool custom_kept_values::has_result() const {
  return get(result_key).has_value();
}

bool custom_kept_values::restore(scan_result& result) const {
  const auto bytes = get(result_key);
  if (!bytes) {
    return false;
  }
  try {
    result.restore(*bytes);
    result.remove_value(duration_channel);
    return true;
  } catch (const std::exception& failure) {
    log(std::string("The last sensor result is ignored: ") + failure.what());
    return false;
  }
}

bool custom_kept_values::holds(const scan_result& result) const {
  auto kept = result;
  return restore(kept) && kept.serialize() == serialize(result);
}

void custom_kept_values::set_result(scan_result result) {
  kept_.set(fingerprint_key, fingerprint_);
  kept_.set(result_key, serialize(std::move(result)));
}

std::vector<std::uint8_t> custom_kept_values::serialize(scan_result result) {
  result.remove_value(duration_channel);
  return result.serialize();
}

std::optional<std::string> custom_kept_values::get(const char* key) const {
  auto value = kept_.get(key);
  return value && value->empty() ? std::nullopt : std::move(value);
}

// The host knows no way to forget. What is empty counts as nothing.
void custom_kept_values::forget(const char* key) {
  kept_.set(fingerprint_key, fingerprint_);
  kept_.set(key, std::string());
}

void custom_kept_values::log(const std::string& line) const {
  if (log_) {
    log_(line);
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
