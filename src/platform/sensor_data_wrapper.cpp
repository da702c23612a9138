#include "kavuhelper/settings/sensor_data_wrapper.hpp"

#include "kavuhelper/utils/exceptions.hpp"
#include "platform/sensor_data.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::settings {
namespace {

const char* name_of(sensor_data_wrapper::content_type content) {
  switch (content) {
    case sensor_data_wrapper::content_type::sensor_data:
      return "SensorData";
    case sensor_data_wrapper::content_type::check_data:
      return "CheckData";
    case sensor_data_wrapper::content_type::notification_request:
      break;
  }
  return "NotificationRequest";
}

}  // namespace

struct sensor_data_wrapper::content : platform::sensor_data {};

sensor_data_wrapper::sensor_data_wrapper(const void* data, unsigned int size)
    : content_(std::make_shared<content>(content{platform::read_sensor_data(data, size)})) {}

sensor_data_wrapper::content_type sensor_data_wrapper::get_content_type() const noexcept {
  return content_->type;
}

void sensor_data_wrapper::require(content_type wanted) const {
  if (content_->type != wanted) {
    throw utils::exceptions::message_deserialization_failed(name_of(wanted), content_->size);
  }
}

const std::string& sensor_data_wrapper::get_kind() const noexcept {
  return content_->kind;
}

std::string sensor_data_wrapper::get_value(std::string_view key) const {
  if (const auto secret = content_->secure_settings.find(key);
      secret != content_->secure_settings.end()) {
    return std::string(secret->second.reveal());
  }
  const auto found = content_->settings.find(key);
  if (found == content_->settings.end()) {
    throw utils::exceptions::setting_not_available(std::string(key));
  }
  return found->second;
}

secure_string sensor_data_wrapper::get_secure_value(std::string_view key) const {
  if (const auto secret = content_->secure_settings.find(key);
      secret != content_->secure_settings.end()) {
    return secret->second;
  }
  const auto found = content_->settings.find(key);
  if (found == content_->settings.end()) {
    throw utils::exceptions::setting_not_available(std::string(key));
  }
  return secure_string(found->second);
}

bool sensor_data_wrapper::has_value(std::string_view key) const noexcept {
  return content_->secure_settings.contains(key) || content_->settings.contains(key);
}

const std::vector<channels::dynamic_channel>& sensor_data_wrapper::get_channels() const noexcept {
  return content_->channels;
}

const std::map<std::string, std::string>& sensor_data_wrapper::get_persistent_data()
    const noexcept {
  return content_->persistent_data;
}

const std::string& sensor_data_wrapper::get_target() const noexcept {
  return content_->target;
}

const std::string& sensor_data_wrapper::get_message() const noexcept {
  return content_->message;
}

std::int64_t sensor_data_wrapper::get_timeout_s() const noexcept {
  return content_->timeout_s;
}

std::string sensor_data_wrapper::to_json() const {
  return platform::to_masked_json(*content_);
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
