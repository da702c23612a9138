#include "probe/hosted_sensor.hpp"

#include <fmt/format.h>

#include "probe/connection_settings.hpp"
#include "probe/failure.hpp"
#include "probe/nearest.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

std::string explain(std::int32_t code) {
  switch (code) {
    case KAVU_OK:
      return "The module has given no result.";
    case KAVU_FAILED:
      return "The module failed without saying why (code 2).";
    case KAVU_UNKNOWN_KIND:
      return "The module does not offer this sensor (code 4).";
    case KAVU_ID_IN_USE:
      return "The module has a sensor with this number already (code 5).";
    case KAVU_UNKNOWN_ID:
      return "The module does not have this sensor any more (code 6).";
    default:
      return fmt::format("The module answers with code {}.", code);
  }
}

}  // namespace

settings_builder make_sensor_settings(const probe_context& context, const std::string& kind,
                                      std::int32_t id, std::chrono::nanoseconds interval,
                                      bool logging) {
  const sensor_kind* const sensor = context.module.find_sensor(kind);
  if (sensor == nullptr) {
    std::vector<std::string_view> known;
    for (const sensor_kind& other : context.module.sensors) {
      known.push_back(other.name);
    }
    throw usage_error(fmt::format("The module describes no sensor \"{}\" (see info){}",
                                  quotable(kind), did_you_mean(kind, known)));
  }
  settings_builder settings(context.module, sensor->sections, id);
  set_connection(settings, context.options.connection, context.credentials);
  add_common_settings(settings, context.options.connection, logging, interval);
  return settings;
}

hosted_sensor::hosted_sensor(host_session& session, const translator& texts, std::string kind,
                             std::int32_t id, settings_builder settings)
    : session_(session),
      texts_(texts),
      kind_(std::move(kind)),
      id_(id),
      settings_(std::move(settings)) {}

std::vector<scan_report> hosted_sensor::create() {
  kavu::wire::SensorData request;
  request.set_kind(kind_);
  settings_.fill(request);
  session_.memory(id_).fill(request);
  const call_outcome outcome = session_.create_sensor(id_, std::move(request));
  created_ = outcome.code == KAVU_OK;
  hopeless_ = outcome.code == KAVU_UNKNOWN_KIND;
  if (created_) {
    // A sensor without a connection is created all the same; its first scan fails.
    severe_records_ = outcome.severe_records;
    return {};
  }
  return make_reports(outcome, /*failed=*/true);
}

std::vector<scan_report> hosted_sensor::scan() {
  const call_outcome outcome = session_.scan_sensor(id_);
  created_ = outcome.code != KAVU_UNKNOWN_ID;
  return make_reports(outcome, outcome.code != KAVU_OK);
}

void hosted_sensor::destroy() {
  if (created_) {
    session_.destroy_sensor(id_);
    created_ = false;
  }
}

std::vector<scan_report> hosted_sensor::make_reports(const call_outcome& outcome, bool failed) {
  std::vector<scan_report> reports;
  for (const kavu::wire::ScanResult& result : outcome.scan_results) {
    if (result.sensor_id() == id_) {
      reports.push_back(make_scan_report(result, kind_, session_.memory(id_), texts_));
      reports.back().ok = reports.back().ok && !failed;
    }
  }
  if (reports.empty()) {
    reports.push_back(make_failed_scan_report(kind_, id_, explain(outcome.code)));
  }
  severe_records_.insert(severe_records_.end(), outcome.severe_records.begin(),
                         outcome.severe_records.end());
  if (!reports.back().ok) {
    reports.back().reasons = find_reasons(severe_records_);
  }
  severe_records_.clear();
  return reports;
}

}  // namespace kavu_probe
