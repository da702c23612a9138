#include "probe/message_age.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace kavu_probe {
namespace {

// The key alone could be a name that a user has chosen, for a channel with a higher number.
constexpr std::int32_t age_channel = 0;
constexpr std::string_view age_channel_key = "channel.duration_since_last_message";

std::optional<std::int64_t> find_age(const scan_report& report) {
  const auto channel =
      std::find_if(report.channels.begin(), report.channels.end(), [](const channel_report& each) {
        return each.id == age_channel && each.key == age_channel_key;
      });
  if (channel == report.channels.end() || !channel->value) {
    return std::nullopt;
  }
  const auto* const seconds = std::get_if<std::int64_t>(&*channel->value);
  return seconds == nullptr ? std::nullopt : std::optional(*seconds);
}

}  // namespace

void require_recent_message(scan_report& report, std::int64_t max_age_s) {
  const std::optional<std::int64_t> age = find_age(report);
  if (!report.ok || (age && *age <= max_age_s)) {
    return;
  }
  message_text reason =
      age ? message_text{"probe.message_too_old",
                         fmt::format("The last message is {} s old, more than {} s.", *age,
                                     max_age_s)}
          : message_text{
                "probe.no_message",
                fmt::format("No message has come yet; at least one every {} s is expected.",
                            max_age_s)};
  if (report.message) {
    reason.text += " The sensor says: " + report.message->text;
  }
  report.ok = false;
  report.response_code = kavu::wire::RESPONSE_CODE_WRONG_ANSWER;
  report.message = std::move(reason);
}

}  // namespace kavu_probe
