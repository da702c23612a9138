#include "soak/soak_host.hpp"

#include <stdexcept>

namespace kavu_test::soak {

using kavu::wire::Envelope;

soak_host::soak_host(tally& figures) : tally_(figures) {
  if (host_.functions().initialize_module(reinterpret_cast<std::uint64_t>(this), receive) !=
      KAVU_OK) {
    throw std::runtime_error("the module could not be initialised");
  }
}

void soak_host::receive(std::uint64_t context, const std::uint8_t* data, std::uint32_t size) {
  auto& self = *reinterpret_cast<soak_host*>(context);
  Envelope envelope;
  if (envelope.ParseFromArray(data, static_cast<int>(size))) {
    self.keep(std::move(envelope));
  } else {
    self.tally_.note_fault("the module sent bytes that are no message");
  }
}

void soak_host::keep(Envelope&& envelope) {
  const auto content = envelope.content_case();
  const std::lock_guard lock(mutex_);
  if (envelope.has_log_record()) {
    follow_connection(envelope.log_record());
  } else if (envelope.has_scan_result()) {
    answers_[{content, envelope.scan_result().sensor_id()}] = std::move(envelope);
  } else if (envelope.has_check_result()) {
    answers_[{content, envelope.check_result().check_id()}] = std::move(envelope);
  } else if (envelope.has_notification_response()) {
    answers_[{content, envelope.notification_response().id()}] = std::move(envelope);
  }
}

// One sensor of each connection has its log switched on.
void soak_host::follow_connection(const kavu::wire::LogRecord& line) {
  if (!line.has_sensor_id()) {
    return;
  }
  if (line.text().find("Connection lost") != std::string::npos) {
    lost_[line.sensor_id()] = true;
  } else if (line.text().find("Connected to: ") != std::string::npos) {
    tally_.reconnects += std::exchange(lost_[line.sensor_id()], false) ? 1 : 0;
  }
}

std::optional<Envelope> soak_host::take(const key& wanted) {
  const std::lock_guard lock(mutex_);
  auto node = answers_.extract(wanted);
  return node.empty() ? std::nullopt : std::optional(std::move(node.mapped()));
}

bool soak_host::create(std::int32_t id, const host_settings& settings) {
  const bool created = host_.create_sensor(id, settings) == KAVU_OK;
  take({Envelope::kScanResult, id});
  return created;
}

bool soak_host::destroy(std::int32_t id) {
  return host_.destroy_sensor(id) == KAVU_OK;
}

std::optional<kavu::wire::ScanResult> soak_host::scan(std::int32_t id) {
  const bool done = host_.scan(id) == KAVU_OK;
  const auto answer = take({Envelope::kScanResult, id});
  return done && answer ? std::optional(answer->scan_result()) : std::nullopt;
}

bool soak_host::check(std::int32_t id, const host_settings& settings) {
  const bool done = host_.check(id, settings) == KAVU_OK;
  const auto answer = take({Envelope::kCheckResult, id});
  return done && answer && answer->check_result().success();
}

bool soak_host::notify(std::int32_t id, const host_settings& settings) {
  const bool done = host_.notify(id, settings) == KAVU_OK;
  const auto answer = take({Envelope::kNotificationResponse, id});
  return done && answer && answer->notification_response().success();
}

}  // namespace kavu_test::soak
