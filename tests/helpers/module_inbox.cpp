#include "helpers/module_inbox.hpp"

#include <algorithm>
#include <iterator>

namespace kavu_test {
namespace {

bool has_text(const kavu::wire::Envelope& envelope, std::string_view text) {
  return envelope.has_log_record() && envelope.log_record().text().find(text) != std::string::npos;
}

const kavu::wire::ChannelValue* find_value(const kavu::wire::ScanResult& result, int channel) {
  const auto found = std::find_if(result.values().begin(), result.values().end(),
                                  [&](const auto& value) { return value.id() == channel; });
  return found == result.values().end() ? nullptr : &*found;
}

}  // namespace

void module_inbox::add(const std::uint8_t* data, std::uint32_t size) noexcept {
  letter arrived{.bytes = {reinterpret_cast<const char*>(data), size}, .envelope = {}};
  const bool readable = arrived.envelope.ParseFromString(arrived.bytes) &&
                        arrived.envelope.content_case() != kavu::wire::Envelope::CONTENT_NOT_SET;
  const std::lock_guard lock(mutex_);
  unreadable_ += readable ? 0 : 1;
  keep(arrived.envelope);
  letters_.push_back(std::move(arrived));
  if (letters_.size() > capacity) {
    letters_.pop_front();
  }
  changed_.notify_all();
}

void module_inbox::keep(const kavu::wire::Envelope& envelope) {
  if (envelope.has_persistent_data()) {
    const auto& data = envelope.persistent_data();
    for (const auto& entry : data.entries()) {
      kept_[data.sensor_id()].persistent_data.insert_or_assign(entry.key(), entry.value());
    }
  } else if (envelope.has_scan_result() && !envelope.scan_result().definitions().empty()) {
    const auto& result = envelope.scan_result();
    kept_[result.sensor_id()].channels = {result.definitions().begin(), result.definitions().end()};
  }
}

void module_inbox::clear() {
  const std::lock_guard lock(mutex_);
  letters_.clear();
  unreadable_ = 0;
}

std::vector<kavu::wire::Envelope> module_inbox::messages(
    const std::function<bool(const kavu::wire::Envelope&)>& predicate) const {
  const std::lock_guard lock(mutex_);
  std::vector<kavu::wire::Envelope> found;
  for (const auto& arrived : letters_) {
    if (predicate(arrived.envelope)) {
      found.push_back(arrived.envelope);
    }
  }
  return found;
}

std::vector<kavu::wire::ScanResult> module_inbox::scan_results(std::int32_t sensor_id) const {
  std::vector<kavu::wire::ScanResult> results;
  for (const auto& envelope : messages([&](const auto& message) {
         return message.has_scan_result() && message.scan_result().sensor_id() == sensor_id;
       })) {
    results.push_back(envelope.scan_result());
  }
  return results;
}

std::vector<kavu::wire::CheckResult> module_inbox::check_results(std::int32_t check_id) const {
  std::vector<kavu::wire::CheckResult> results;
  for (const auto& envelope : messages([&](const auto& message) {
         return message.has_check_result() && message.check_result().check_id() == check_id;
       })) {
    results.push_back(envelope.check_result());
  }
  return results;
}

std::vector<kavu::wire::NotificationResponse> module_inbox::notification_responses(
    std::int32_t id) const {
  std::vector<kavu::wire::NotificationResponse> responses;
  for (const auto& envelope : messages([&](const auto& message) {
         return message.has_notification_response() && message.notification_response().id() == id;
       })) {
    responses.push_back(envelope.notification_response());
  }
  return responses;
}

std::vector<kavu::wire::LogRecord> module_inbox::log_records() const {
  std::vector<kavu::wire::LogRecord> records;
  for (const auto& envelope :
       messages([](const auto& message) { return message.has_log_record(); })) {
    records.push_back(envelope.log_record());
  }
  return records;
}

bool module_inbox::logged(std::string_view text) const {
  const std::lock_guard lock(mutex_);
  return std::any_of(letters_.begin(), letters_.end(),
                     [&](const letter& arrived) { return has_text(arrived.envelope, text); });
}

bool module_inbox::contains(std::string_view bytes) const {
  const std::lock_guard lock(mutex_);
  return std::any_of(letters_.begin(), letters_.end(), [&](const letter& arrived) {
    return arrived.bytes.find(bytes) != std::string::npos;
  });
}

std::size_t module_inbox::unreadable_count() const {
  const std::lock_guard lock(mutex_);
  return unreadable_;
}

std::size_t module_inbox::message_count() const {
  const std::lock_guard lock(mutex_);
  return letters_.size();
}

std::map<std::string, std::string> module_inbox::persistent_data(std::int32_t sensor_id) const {
  const std::lock_guard lock(mutex_);
  const auto found = kept_.find(sensor_id);
  return found == kept_.end() ? std::map<std::string, std::string>{}
                              : found->second.persistent_data;
}

std::vector<kavu::wire::ChannelDefinition> module_inbox::channels(std::int32_t sensor_id) const {
  const std::lock_guard lock(mutex_);
  const auto found = kept_.find(sensor_id);
  return found == kept_.end() ? std::vector<kavu::wire::ChannelDefinition>{}
                              : found->second.channels;
}

bool module_inbox::wait_for(const std::function<bool(const kavu::wire::Envelope&)>& predicate,
                            std::chrono::milliseconds deadline) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, deadline, [&] {
    return std::any_of(letters_.begin(), letters_.end(),
                       [&](const letter& arrived) { return predicate(arrived.envelope); });
  });
}

bool module_inbox::wait_for_log(std::string_view text, std::chrono::milliseconds deadline) const {
  return wait_for([&](const auto& envelope) { return has_text(envelope, text); }, deadline);
}

std::optional<std::int64_t> integer_value(const kavu::wire::ScanResult& result, int channel) {
  const auto* value = find_value(result, channel);
  if (value == nullptr || value->value_case() != kavu::wire::ChannelValue::kInteger) {
    return std::nullopt;
  }
  return value->integer();
}

std::optional<double> floating_value(const kavu::wire::ScanResult& result, int channel) {
  const auto* value = find_value(result, channel);
  if (value == nullptr || value->value_case() != kavu::wire::ChannelValue::kFloating) {
    return std::nullopt;
  }
  return value->floating();
}

}  // namespace kavu_test
