#include "probe/json_lines.hpp"

#include <nlohmann/json.hpp>

#include "probe/clock_text.hpp"

namespace kavu_probe {
namespace {

using json = nlohmann::ordered_json;

std::string to_line(const json& object) {
  return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

const char* state_name(value_state state) {
  switch (state) {
    case value_state::ok:
      return "ok";
    case value_state::warning:
      return "warning";
    case value_state::error:
      return "error";
    case value_state::none:
      break;
  }
  return "none";
}

json to_json(const channel_report& channel) {
  json object{{"id", channel.id}, {"key", channel.key}, {"name", channel.name}};
  std::visit([&](auto number) { object["value"] = number; }, *channel.value);
  object["unit"] = channel.unit;
  if (channel.words) {
    object["text"] = channel.words->display;
    object["state"] = state_name(channel.words->state);
  }
  return object;
}

void add_message(json& object, const std::optional<message_text>& message) {
  if (message) {
    object["message"] = json{{"key", message->key}, {"text", message->text}};
  }
}

}  // namespace

std::string to_json_line(const scan_report& report) {
  json object{{"time", utc_text(report.time)},
              {"kind", report.kind},
              {"id", report.id},
              {"ok", report.ok},
              {"response_code", report.response_code}};
  add_message(object, report.message);
  json channels = json::array();
  json empty = json::array();
  for (const channel_report& channel : report.channels) {
    if (channel.value) {
      channels.push_back(to_json(channel));
    } else {
      empty.push_back(json{{"id", channel.id},
                           {"key", channel.key},
                           {"name", channel.name},
                           {"why", channel.why_empty}});
    }
  }
  object["channels"] = std::move(channels);
  if (!empty.empty()) {
    object["empty_channels"] = std::move(empty);
  }
  return to_line(object);
}

std::string to_json_line(const check_report& report) {
  json object{{"time", utc_text(report.time)},
              {"kind", report.kind},
              {"ok", report.ok},
              {"elapsed_ms", report.elapsed_ms}};
  add_message(object, report.message);
  return to_line(object);
}

std::string to_json_line(const notification_report& report) {
  json object{{"time", utc_text(report.time)},
              {"kind", report.service},
              {"ok", report.ok},
              {"elapsed_ms", report.elapsed_ms}};
  add_message(object, report.message);
  return to_line(object);
}

}  // namespace kavu_probe
