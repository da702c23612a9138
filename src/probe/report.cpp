#include "probe/report.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kavu_probe {
namespace {

using kavu::wire::ChannelDefinition;
using kavu::wire::ChannelValue;

constexpr double int64_end = 9223372036854775808.0;  // 2^63

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

channel_report make_channel_report(const ChannelValue& value, const ChannelDefinition* channel,
                                   sensor_memory& memory, const translator& texts) {
  channel_report report;
  report.id = value.id();
  std::optional<channel_number> number = raw_number(value);
  if (channel == nullptr) {
    report.name = fmt::format("Channel {}", value.id());
    report.value = number;
    return report;
  }
  report.key = channel->name().key();
  report.name = texts.text(channel->name());
  report.unit = unit_text(*channel);
  report.unit_kind = channel->unit();
  report.counter = channel->kind() == kavu::wire::CHANNEL_KIND_DELTA_COUNTER;
  if (number && std::holds_alternative<std::int64_t>(*number)) {
    const std::int64_t integer = std::get<std::int64_t>(*number);
    if (report.counter) {
      number = count_up(memory.counters, value.id(), integer);
    } else if (!channel->lookup_name().empty()) {
      report.words = texts.look_up(channel->lookup_name(), integer);
    }
  }
  if (number) {
    report.value = scale(*number, channel->has_scale_factor() ? channel->scale_factor() : 1.0);
  }
  return report;
}

bool says_error(const channel_report& channel) {
  return channel.words && channel.words->state == value_state::error;
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
              std::none_of(report.channels.begin(), report.channels.end(), says_error);
  return report;
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
