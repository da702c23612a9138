#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "probe/definition.hpp"
#include "probe/sensor_memory.hpp"
#include "probe/translator.hpp"

// What the module answered, as a person or a program wants to see it: translated, scaled,
// counters as differences, values in words. Texts are as they came; whoever shows them makes them
// fit to be shown.
namespace kavu_probe {

using channel_number = std::variant<std::int64_t, double>;

struct message_text {
  std::string key;
  std::string text;
};

struct channel_report {
  std::int32_t id = 0;
  std::string key;
  std::string name;
  /// Empty when this scan gives none: a counter's first value, a counter that was set back, a
  /// number that is none, a channel that the result leaves out.
  std::optional<channel_number> value;
  /// The value is a product with the channel's scale.
  bool scaled = false;
  /// Why there is no value, in a few words; empty when there is one.
  std::string why_empty;
  std::string unit;
  kavu::wire::ChannelUnit unit_kind = kavu::wire::CHANNEL_UNIT_NONE;
  /// A counter: the value is the difference to the one before.
  bool counter = false;
  /// What a looked-up value means.
  std::optional<lookup_value> words;
};

struct scan_report {
  std::chrono::system_clock::time_point time;
  std::string kind;
  std::int32_t id = 0;
  bool ok = false;
  std::int32_t response_code = 0;
  std::optional<message_text> message;
  /// What the host has to add where the result itself says nothing; empty for nothing.
  std::string note;
  std::vector<channel_report> channels;
  /// What the module logged of a failure since the report before, each line once.
  std::vector<std::string> reasons;
};

/// How a result is to be taken, by its response code and the states of its looked-up values.
enum class verdict { ok, warning, error };
verdict verdict_of(const scan_report& report);

struct check_report {
  std::chrono::system_clock::time_point time;
  std::string kind;
  bool ok = false;
  std::int64_t elapsed_ms = 0;
  std::optional<message_text> message;
  /// What the module logged of a failure, each line once.
  std::vector<std::string> reasons;
};

struct notification_report {
  std::chrono::system_clock::time_point time;
  std::string service;
  bool ok = false;
  std::int64_t elapsed_ms = 0;
  std::optional<message_text> message;
  /// What the module logged of a failure, each line once.
  std::vector<std::string> reasons;
};

/// Makes a scan's report and brings the counters in `memory` up to date, so each result must be
/// given once. A result is good unless its response code or a looked-up value's state says
/// error. One that is good has an entry for every channel that the sensor has registered.
scan_report make_scan_report(const kavu::wire::ScanResult& result, const std::string& kind,
                             sensor_memory& memory, const translator& texts);

/// The report of a sensor that said nothing itself.
scan_report make_failed_scan_report(const std::string& kind, std::int32_t id, std::string text);

/// The texts of log records that explain a failure, each once.
std::vector<std::string> find_reasons(const std::vector<kavu::wire::LogRecord>& records);

message_text translate(const kavu::wire::LocalisedText& message, const translator& texts);

/// The unit as a short text: "ms", "bytes", "count", what the user wrote, "" for none.
std::string unit_text(const kavu::wire::ChannelDefinition& channel);

/// `value` times `factor`; an integer stays one as long as the product is one and fits. Nothing
/// when the product is not a finite number.
std::optional<channel_number> scale(channel_number value, double factor);

/// The difference to the counter's value before, which is replaced in `counters`. Nothing for the
/// first value and for a counter that was set back.
std::optional<std::int64_t> count_up(std::map<std::int32_t, std::int64_t>& counters,
                                     std::int32_t channel, std::int64_t value);

}  // namespace kavu_probe
