#include <fmt/format.h>

#include <set>

#include "probe/channel_settings.hpp"
#include "probe/commands.hpp"
#include "probe/failure.hpp"
#include "probe/hosted_sensor.hpp"
#include "probe/message_age.hpp"
#include "probe/steady_schedule.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

using std::chrono::steady_clock;

settings_builder make_settings(const probe_context& context, const scan_options& options) {
  // A sensor says in its log only why it has no connection, so that is always wanted.
  settings_builder settings =
      make_sensor_settings(context, options.kind, options.id, options.interval, /*logging=*/true);
  for (const named_value& item : options.settings) {
    if (settings.is_secure(item.name)) {
      throw usage_error(fmt::format("{}: a secret has no place on the command line.", item.option));
    }
    settings.set(item.name, item.value, item.option);
  }
  set_channels(settings, options.channels);
  settings.check();
  return settings;
}

/// Creates, scans and destroys one sensor, and remembers whether anything went wrong.
class scan_series {
 public:
  scan_series(const probe_context& context, const scan_options& options)
      : context_(context),
        options_(options),
        sensor_(context.session, context.texts, options.kind, options.id,
                make_settings(context, options)) {}

  void run() {
    begin();
    steady_schedule schedule(started_, options_.interval);
    while (!finished()) {
      context_.session.wait_until(schedule.next(steady_clock::now()));
      if (sensor_.created()) {
        scan();
      } else {
        begin();
      }
    }
    sensor_.destroy();
  }

  bool all_well() const { return all_well_; }

 private:
  bool finished() const {
    return sensor_.hopeless() || (options_.scans != 0 && results_ >= options_.scans);
  }

  void begin() {
    if (!run_required_checks()) {
      ++results_;
      return;
    }
    const std::vector<scan_report> failures = sensor_.create();
    started_ = steady_clock::now();
    if (!failures.empty()) {
      show(failures);
    } else if (options_.at_once) {
      scan();
    }
  }

  bool run_required_checks() {
    if (!options_.require_checks) {
      return true;
    }
    for (const std::string& name : context_.module.find_sensor(options_.kind)->required_checks) {
      const check_report report = run_check(context_, name);
      context_.output.show(report);
      if (!report.ok) {
        all_well_ = false;
        return false;
      }
    }
    return true;
  }

  void scan() {
    std::vector<scan_report> reports = sensor_.scan();
    if (options_.max_age_s) {
      for (scan_report& report : reports) {
        require_recent_message(report, *options_.max_age_s);
      }
    }
    show(reports);
  }

  void show(const std::vector<scan_report>& reports) {
    for (const scan_report& report : reports) {
      context_.output.show(report);
      tell_reasons(report);
      all_well_ = all_well_ && report.ok;
    }
    ++results_;
  }

  /// A reason that stays is told once for failures in a row.
  void tell_reasons(const scan_report& report) {
    if (report.ok) {
      told_.clear();
      return;
    }
    for (const std::string& reason : report.reasons) {
      if (told_.insert(reason).second) {
        context_.output.tell_reason(report, reason);
      }
    }
  }

  const probe_context& context_;
  const scan_options& options_;
  hosted_sensor sensor_;
  steady_clock::time_point started_ = steady_clock::now();
  std::int64_t results_ = 0;
  bool all_well_ = true;
  std::set<std::string> told_;
};

}  // namespace

int run_scan_command(const probe_context& context, const scan_options& options) {
  scan_series series(context, options);
  series.run();
  return series.all_well() ? exit_code::well : exit_code::answer_is_error;
}

}  // namespace kavu_probe
