#include "probe/reporter.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "probe/clock_text.hpp"
#include "probe/console.hpp"
#include "probe/json_lines.hpp"
#include "probe/text_layout.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

std::string state_text(bool ok, const std::optional<message_text>& message) {
  const std::string state = ok ? "ok" : "error";
  return message ? state + ": " + message_line(message) : state;
}

/// A certificate, of which a log line may hold many, fills the screen and says nothing there.
std::string without_pem(std::string_view text) {
  constexpr std::string_view begin = "-----BEGIN ";
  constexpr std::string_view end = "-----END ";
  constexpr std::string_view dashes = "-----";
  std::string result;
  for (;;) {
    const std::size_t from = text.find(begin);
    const std::size_t last_line = text.find(end, from);
    if (from == std::string_view::npos || last_line == std::string_view::npos) {
      return result.append(text);
    }
    const std::size_t to = text.find(dashes, last_line + end.size());
    const std::size_t after = to == std::string_view::npos ? text.size() : to + dashes.size();
    result += fmt::format("{}(PEM text, {} bytes)", text.substr(0, from), after - from);
    text.remove_prefix(after);
  }
}

std::string log_line(const kavu::wire::LogRecord& record) {
  static constexpr std::array names = {"emergency", "alert",  "critical", "error",
                                       "warning",   "notice", "info",     "debug"};
  const auto severity = static_cast<std::size_t>(record.severity());
  const std::string source =
      record.has_sensor_id() ? fmt::format("{}", record.sensor_id()) : std::string("module");
  const auto time = std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(
          std::chrono::nanoseconds(record.time_ns())));
  return fmt::format("{} {:<9} {:>6}  {}", utc_text(time),
                     severity < names.size() ? names[severity] : "?", source,
                     printable(without_pem(record.text())));
}

/// The fewest digits that stand for this number and no other.
std::string shortest_text(double value) {
  constexpr double smallest_in_full = 1e-5;
  constexpr double first_too_long = 1e15;
  const double size = std::abs(value);
  const auto format = size >= smallest_in_full && size < first_too_long
                          ? std::chars_format::fixed
                          : std::chars_format::general;
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value, format);
  return {text.data(), end.ptr};
}

}  // namespace

std::string number_text(const channel_number& number, bool scaled) {
  if (const auto* integer = std::get_if<std::int64_t>(&number)) {
    return fmt::format("{}", *integer);
  }
  double value = std::get<double>(number);
  if (scaled) {
    // A product of two doubles is exact to no more digits.
    const std::string rounded = fmt::format("{:.15g}", value);
    std::from_chars(rounded.data(), rounded.data() + rounded.size(), value);
  }
  return value == 0 ? "0" : shortest_text(value);
}

std::string value_text(const channel_report& channel) {
  if (channel.words) {
    return printable(channel.words->display);
  }
  return channel.value ? number_text(*channel.value, channel.scaled) : "-";
}

std::string unit_for_people(const channel_report& channel) {
  if (channel.unit_kind == kavu::wire::CHANNEL_UNIT_COUNT && channel.unit == "count") {
    return "";
  }
  std::string text = printable(channel.unit);
  const std::size_t plural = text.find('s');
  if (channel.unit_kind == kavu::wire::CHANNEL_UNIT_BYTES && plural != std::string::npos &&
      value_text(channel) == "1") {
    text.erase(plural, 1);
  }
  return text;
}

std::string message_line(const std::optional<message_text>& message) {
  return message ? printable(message->text) : "";
}

std::string state_line(const scan_report& report) {
  const verdict taken = verdict_of(report);
  std::string line = taken == verdict::ok ? "ok" : taken == verdict::warning ? "warning" : "error";
  if (report.message) {
    line += ": " + message_line(report.message);
  } else if (!report.note.empty()) {
    line += ": " + report.note;
  }
  return line;
}

std::string empty_note(const scan_report& report, const channel_report& channel) {
  // What the line above the channels says already is not said again for each of them.
  return channel.why_empty == report.note ? "" : channel.why_empty;
}

std::string reporter::sensor_name(const std::string& kind) const {
  const sensor_kind* const sensor = module_.find_sensor(kind);
  return sensor == nullptr ? kind : printable(texts_.text(kind + ".display", sensor->display));
}

void reporter::tell_failure(const std::string& who,
                            const std::optional<message_text>& message) const {
  if (!failures_show_beside_output()) {
    print_failure(fmt::format("{}: {}", who, message ? message_line(message) : "failed"));
  }
}

void reporter::show(const scan_report& report) const {
  if (json_) {
    print_line(to_json_line(report));
  } else {
    show_text(report);
  }
  if (!report.ok) {
    tell_failure(fmt::format("{} {}", report.kind, report.id), report.message);
  }
}

void reporter::show_text(const scan_report& report) const {
  print_line(fmt::format("{}  {} ({} {})  {}", local_time_of_day(report.time),
                         sensor_name(report.kind), report.kind, report.id, state_line(report)));
  std::size_t name_width = 0;
  std::size_t value_width = 0;
  for (const channel_report& channel : report.channels) {
    name_width = std::max(name_width, display_width(printable(channel.name)));
    value_width = std::max(value_width, display_width(value_text(channel)));
  }
  for (const channel_report& channel : report.channels) {
    std::string line =
        fmt::format("  {}  {} {}", pad_right(printable(channel.name), name_width),
                    pad_left(value_text(channel), value_width), unit_for_people(channel));
    if (channel.counter && channel.value) {
      line += " (since the last value)";
    } else if (const std::string why = empty_note(report, channel); !why.empty()) {
      line += fmt::format(" ({})", why);
    }
    print_line(std::string_view(line).substr(0, line.find_last_not_of(' ') + 1));
  }
}

void reporter::show(const check_report& report) const {
  if (json_) {
    print_line(to_json_line(report));
  } else {
    print_line(fmt::format("{}  {}  {} ({} ms)", local_time_of_day(report.time), report.kind,
                           state_text(report.ok, report.message), report.elapsed_ms));
  }
  if (report.ok) {
    return;
  }
  for (const std::string& reason : report.reasons) {
    print_failure(fmt::format("{}: {}", report.kind, printable(reason)));
  }
  if (report.reasons.empty()) {
    tell_failure(report.kind, report.message);
  }
}

void reporter::tell_reason(const scan_report& report, const std::string& reason) const {
  if (!report.message || reason.find(report.message->text) == std::string::npos) {
    print_failure(fmt::format("{} {}: {}", report.kind, report.id, printable(reason)));
  }
}

void reporter::show(const notification_report& report) const {
  if (json_) {
    print_line(to_json_line(report));
  } else {
    print_line(fmt::format("{}  {}  {} ({} ms)", local_time_of_day(report.time), report.service,
                           state_text(report.ok, report.message), report.elapsed_ms));
  }
  if (report.ok) {
    return;
  }
  for (const std::string& reason : report.reasons) {
    if (!report.message || reason.find(report.message->text) == std::string::npos) {
      print_failure(fmt::format("{}: {}", report.service, printable(reason)));
    }
  }
  tell_failure(report.service, report.message);
}

void log_printer::on_log(const kavu::wire::LogRecord& record) {
  if (show_log_) {
    print_log_line(log_line(record));
  }
}

void log_printer::on_tick() {
  if (tick_) {
    tick_();
  }
}

void log_printer::on_problem(const std::string& text) {
  print_failure(text);
}

}  // namespace kavu_probe
