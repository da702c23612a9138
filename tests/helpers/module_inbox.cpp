#include "helpers/module_inbox.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace kavu_test {

using kavu::wire::ChannelValue;
using kavu::wire::Envelope;

namespace {

bool has_text(const Envelope& envelope, std::string_view text) {
  return envelope.has_log_record() && envelope.log_record().text().find(text) != std::string::npos;
}

}  // namespace

void module_inbox::add(const std::uint8_t* data, std::uint32_t size) noexcept {
  letter arrived{.bytes = {reinterpret_cast<const char*>(data), size}, .envelope = {}};
  if (!arrived.envelope.ParseFromString(arrived.bytes)) {
    std::fputs("the module has sent bytes that are no message\n", stderr);
    std::abort();
  }
  const std::lock_guard lock(mutex_);
  keep(arrived.envelope);
  letters_.push_back(std::move(arrived));
  if (letters_.size() > capacity) {
    letters_.pop_front();
  }
  changed_.notify_all();
}

void module_inbox::keep(const Envelope& envelope) {
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
}

template <class Message, class Choose>
std::vector<Message> module_inbox::collect(Choose choose) const {
  const std::lock_guard lock(mutex_);
  std::vector<Message> found;
  for (const auto& arrived : letters_) {
    if (const Message* chosen = choose(arrived.envelope)) {
      found.push_back(*chosen);
    }
  }
  return found;
}

std::vector<Envelope> module_inbox::messages(
    const std::function<bool(const Envelope&)>& predicate) const {
  return collect<Envelope>([&](const Envelope& each) { return predicate(each) ? &each : nullptr; });
}

std::vector<kavu::wire::ScanResult> module_inbox::scan_results(std::int32_t sensor_id) const {
  return collect<kavu::wire::ScanResult>([&](const Envelope& each) {
    const auto& result = each.scan_result();
    return each.has_scan_result() && result.sensor_id() == sensor_id ? &result : nullptr;
  });
}

std::vector<kavu::wire::CheckResult> module_inbox::check_results(std::int32_t check_id) const {
  return collect<kavu::wire::CheckResult>([&](const Envelope& each) {
    const auto& result = each.check_result();
    return each.has_check_result() && result.check_id() == check_id ? &result : nullptr;
  });
}

std::vector<kavu::wire::NotificationResponse> module_inbox::notification_responses(
    std::int32_t id) const {
  return collect<kavu::wire::NotificationResponse>([&](const Envelope& each) {
    const auto& response = each.notification_response();
    return each.has_notification_response() && response.id() == id ? &response : nullptr;
  });
}

std::vector<kavu::wire::LogRecord> module_inbox::log_records() const {
  return collect<kavu::wire::LogRecord>(
      [](const Envelope& each) { return each.has_log_record() ? &each.log_record() : nullptr; });
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

std::size_t module_inbox::message_count() const {
  const std::lock_guard lock(mutex_);
  return letters_.size();
}

module_inbox::kept module_inbox::kept_of(std::int32_t sensor_id) const {
  const std::lock_guard lock(mutex_);
  const auto found = kept_.find(sensor_id);
  return found == kept_.end() ? kept{} : found->second;
}

bool module_inbox::wait_for_log(std::string_view text) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, default_deadline, [&] {
    return std::any_of(letters_.begin(), letters_.end(),
                       [&](const letter& arrived) { return has_text(arrived.envelope, text); });
  });
}

std::optional<std::int64_t> integer_value(const kavu::wire::ScanResult& result, int channel) {
  for (const auto& value : result.values()) {
    if (value.id() == channel && value.value_case() == ChannelValue::kInteger) {
      return value.integer();
    }
  }
  return std::nullopt;
}

std::optional<double> floating_value(const kavu::wire::ScanResult& result, int channel) {
  for (const auto& value : result.values()) {
    if (value.id() == channel && value.value_case() == ChannelValue::kFloating) {
      return value.floating();
    }
  }
  return std::nullopt;
}

}  // namespace kavu_test
