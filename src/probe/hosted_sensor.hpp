#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "probe/host_session.hpp"
#include "probe/probe_context.hpp"
#include "probe/report.hpp"
#include "probe/settings_builder.hpp"

namespace kavu_probe {

/// The settings of a sensor of the given kind under the program's connection options, all others
/// at their defaults. Throws usage_error when the module has no such kind or a value does not fit.
settings_builder make_sensor_settings(const probe_context& context, const std::string& kind,
                                      std::int32_t id, std::chrono::nanoseconds interval,
                                      bool logging);

/// One sensor in the module, created again with what it has given the host to keep as often as
/// its user wants.
class hosted_sensor {
 public:
  hosted_sensor(host_session& session, const translator& texts, std::string kind, std::int32_t id,
                settings_builder settings);

  /// Creates the sensor in the module. Nothing on success, else the reports that say why not, at
  /// least one.
  std::vector<scan_report> create();

  /// Runs a scan; at least one report, mostly exactly one.
  std::vector<scan_report> scan();

  void destroy();

  /// False before create() has succeeded, and when the module has lost the sensor.
  bool created() const { return created_; }

  /// Whether trying to create it again cannot help: the module has no such sensor.
  bool hopeless() const { return hopeless_; }

 private:
  std::vector<scan_report> make_reports(const call_outcome& outcome, bool failed);

  host_session& session_;
  const translator& texts_;
  std::string kind_;
  std::int32_t id_;
  settings_builder settings_;
  /// What the creation logged and no report has told yet.
  std::vector<kavu::wire::LogRecord> severe_records_;
  bool created_ = false;
  bool hopeless_ = false;
};

}  // namespace kavu_probe
