#include "probe/report.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kavu_probe {
namespace {

using kavu::wire::ChannelDefinition;
using kavu::wire::ChannelValue;

constexpr double int64_end = 9223372036854775808.0;  // 2^63

// The one sensor that has no value until a message comes, and what it has the host keep then.
constexpr std::string_view message_sensor = "subscribe_custom_sensor";
constexpr const char* time_of_last_message = "time_of_last_message";

std::optional<channel_number> raw_number(const ChannelValue& value) {
  switch (value.value_case()) {
    case ChannelValue::kInteger:
      return value.integer();
    case ChannelValue::kFloating:
      return value.floating();
    default:
      return std::nullopt;
  }
}

/// What a channel is, without a value.
channel_report describe_channel(const ChannelDefinition& channel, const translator& texts) {
  channel_report report;
  report.id = channel.id();
  report.key = channel.name().key();
  report.name = texts.text(channel.name());
  report.unit = unit_text(channel);
  report.unit_kind = channel.unit();
  report.counter = channel.kind() == kavu::wire::CHANNEL_KIND_DELTA_COUNTER;
  return report;
}

/// The counter's difference, or why there is none.
std::optional<channel_number> take_difference(sensor_memory& memory, std::int32_t channel,
                                              std::int64_t value, std::string& why_empty) {
  const auto before = memory.counters.find(channel);
  why_empty = before == memory.counters.end() ? "first value"
              : value < before->second        ? "the counter was set back"
                                              : "the difference does not fit 64 bits";
  const auto difference = count_up(memory.counters, channel, value);
  return difference ? std::optional<channel_number>(*difference) : std::nullopt;
}

channel_report make_channel_report(const ChannelValue& value, const ChannelDefinition* channel,
                                   sensor_memory& memory, const translator& texts) {
  channel_report report;
  std::optional<channel_number> number = raw_number(value);
  if (channel == nullptr) {
    report.id = value.id();
    report.name = fmt::format("Channel {}", value.id());
    report.value = number;
  } else {
    report = describe_channel(*channel, texts);
  }
  if (!number) {
    report.why_empty = "the module sent none";
    return report;
  }
  if (channel != nullptr && std::holds_alternative<std::int64_t>(*number)) {
    const std::int64_t integer = std::get<std::int64_t>(*number);
    if (report.counter) {
      number = take_difference(memory, value.id(), integer, report.why_empty);
    } else if (!channel->lookup_name().empty()) {
      report.words = texts.look_up(channel->lookup_name(), integer);
    }
  }
  if (number) {
    const double factor =
        channel != nullptr && channel->has_scale_factor() ? channel->scale_factor() : 1.0;
    report.scaled = factor != 1.0;
    report.value = scale(*number, factor);
    report.why_empty = report.value ? "" : "not a finite number";
  }
  return report;
}

/// Adds the channels that a good result has no entry for, and says why.
void add_empty_channels(scan_report& report, const kavu::wire::ScanResult& result,
                        const sensor_memory& memory, const translator& texts) {
  std::string why = "no value in this scan";
  if (report.kind == message_sensor) {
    why = memory.persistent_data.contains(time_of_last_message) ? "no message in this interval"
                                                                : "no message yet";
  }
  const std::size_t filled = report.channels.size();
  for (const ChannelDefinition& channel : result.definitions()) {
    const bool has_entry =
        std::any_of(result.values().begin(), result.values().end(),
                    [&](const ChannelValue& value) { return value.id() == channel.id(); });
    if (!has_entry) {
      report.channels.push_back(describe_channel(channel, texts));
      report.channels.back().why_empty = why;
    }
  }
  const bool added = report.channels.size() != filled;
  if (added && !report.message && (filled == 0 || report.kind == message_sensor)) {
    report.note = why;
  }
  std::sort(report.channels.begin(), report.channels.end(),
            [](const auto& one, const auto& other) { return one.id < other.id; });
}

bool any_channel_says(const scan_report& report, value_state state) {
  return std::any_of(report.channels.begin(), report.channels.end(), [state](const auto& channel) {
    return channel.words && channel.words->state == state;
  });
}

}  // namespace

std::optional<channel_number> scale(channel_number value, double factor) {
  if (std::holds_alternative<std::int64_t>(value)) {
    const std::int64_t integer = std::get<std::int64_t>(value);
    std::int64_t product = 0;
    if (factor == std::floor(factor) && std::abs(factor) < int64_end &&
        !__builtin_mul_overflow(integer, static_cast<std::int64_t>(factor), &product)) {
      return product;
    }
    value = static_cast<double>(integer);
  }
  const double product = std::get<double>(value) * factor;
  return std::isfinite(product) ? std::optional<channel_number>(product) : std::nullopt;
}

std::optional<std::int64_t> count_up(std::map<std::int32_t, std::int64_t>& counters,
                                     std::int32_t channel, std::int64_t value) {
  const auto [entry, first] = counters.try_emplace(channel, value);
  const std::int64_t before = entry->second;
  entry->second = value;
  std::int64_t difference = 0;
  if (first || value < before || __builtin_sub_overflow(value, before, &difference)) {
    return std::nullopt;
  }
  return difference;
}

std::string unit_text(const ChannelDefinition& channel) {
  const std::string per = channel.per_seconds() == 0 ? ""
                          : channel.per_seconds() == 1
                              ? "/s"
                              : fmt::format("/{} s", channel.per_seconds());
  switch (channel.unit()) {
    case kavu::wire::CHANNEL_UNIT_CUSTOM:
      return channel.unit_text() + per;
    case kavu::wire::CHANNEL_UNIT_SECONDS:
      return "s" + per;
    case kavu::wire::CHANNEL_UNIT_MILLISECONDS:
      return "ms" + per;
    case kavu::wire::CHANNEL_UNIT_COUNT:
      return "count" + per;
    case kavu::wire::CHANNEL_UNIT_BYTES:
      return (channel.bits_per_unit() == 1 ? "bits" : "bytes") + per;
    default:
      return per;
  }
}

message_text translate(const kavu::wire::LocalisedText& message, const translator& texts) {
  return {message.key(), texts.text(message)};
}

scan_report make_scan_report(const kavu::wire::ScanResult& result, const std::string& kind,
                             sensor_memory& memory, const translator& texts) {
  scan_report report;
  report.time = std::chrono::system_clock::now();
  report.kind = kind;
  report.id = result.sensor_id();
  report.response_code = result.response_code();
  if (result.has_message()) {
    report.message = translate(result.message(), texts);
  }
  for (const ChannelValue& value : result.values()) {
    const auto channel = memory.channels.find(value.id());
    report.channels.push_back(make_channel_report(
        value, channel == memory.channels.end() ? nullptr : &channel->second, memory, texts));
  }
  report.ok = result.error_code() == 0 &&
              (result.response_code() == kavu::wire::RESPONSE_CODE_OK ||
               result.response_code() == kavu::wire::RESPONSE_CODE_WARNING) &&
              !any_channel_says(report, value_state::error);
  if (report.ok) {
    add_empty_channels(report, result, memory, texts);
  }
  return report;
}

verdict verdict_of(const scan_report& report) {
  if (!report.ok) {
    return verdict::error;
  }
  return report.response_code == kavu::wire::RESPONSE_CODE_WARNING ||
                 any_channel_says(report, value_state::warning)
             ? verdict::warning
             : verdict::ok;
}

std::vector<std::string> find_reasons(const std::vector<kavu::wire::LogRecord>& records) {
  std::vector<std::string> reasons;
  for (const kavu::wire::LogRecord& record : records) {
    if (std::find(reasons.begin(), reasons.end(), record.text()) == reasons.end()) {
      reasons.push_back(record.text());
    }
  }
  return reasons;
}

scan_report make_failed_scan_report(const std::string& kind, std::int32_t id, std::string text) {
  scan_report report;
  report.time = std::chrono::system_clock::now();
  report.kind = kind;
  report.id = id;
  report.response_code = kavu::wire::RESPONSE_CODE_ERROR;
  report.message = message_text{text, text};
  return report;
}

}  // namespace kavu_probe
