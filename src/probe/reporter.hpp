#pragma once

#include <functional>
#include <string>

#include "probe/host_session.hpp"
#include "probe/report.hpp"

namespace kavu_probe {

/// A number for people: the fewest digits that stand for it, without an exponent from 0.00001 to
/// below 10^15. What was `scaled` is rounded to 15 significant digits, so that it shows no
/// artefacts of binary fractions.
std::string number_text(const channel_number& number, bool scaled);

/// The value of a channel for people: the number, or the words that a lookup has for it.
std::string value_text(const channel_report& channel);

/// The unit of a channel for people, for whom a count needs none and 1 is one byte.
std::string unit_for_people(const channel_report& channel);

/// "ok", "warning" or "error", and what there is to say about it.
std::string state_line(const scan_report& report);

/// Why a channel of the report has no value, as far as state_line() does not say it; else empty.
std::string empty_note(const scan_report& report, const channel_report& channel);

/// One line for a failure: the message of a report, fit to be shown.
std::string message_line(const std::optional<message_text>& message);

/// Shows reports: as JSON lines, or as text for people; failures on standard error.
///
/// Definition and translator must outlive it.
class reporter {
 public:
  reporter(bool json, const definition& module, const translator& texts)
      : json_(json), module_(module), texts_(texts) {}

  void show(const scan_report& report) const;
  void show(const check_report& report) const;
  void show(const notification_report& report) const;

  /// Tells one of the report's reasons, unless its message says so already.
  void tell_reason(const scan_report& report, const std::string& reason) const;

  /// The sensor's name in the chosen language.
  std::string sensor_name(const std::string& kind) const;

 private:
  void show_text(const scan_report& report) const;
  void tell_failure(const std::string& who, const std::optional<message_text>& message) const;

  bool json_;
  const definition& module_;
  const translator& texts_;
};

/// Shows the module's log on standard error, when that is wanted, and passes on the sign of life.
class log_printer : public session_observer {
 public:
  explicit log_printer(bool show_log) : show_log_(show_log) {}
  void on_log(const kavu::wire::LogRecord& record) override;
  void on_problem(const std::string& text) override;
  void on_tick() override;

  /// What to do several times a second; empty for nothing.
  void set_tick(std::function<void()> tick) { tick_ = std::move(tick); }

 private:
  bool show_log_;
  std::function<void()> tick_;
};

}  // namespace kavu_probe
