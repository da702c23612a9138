#include "probe/scan_inputs.hpp"

#include <fmt/format.h>

#include "libjsonparser/exceptions.hpp"
#include "libjsonparser/jsonpath_expression.hpp"
#include "probe/failure.hpp"
#include "probe/topic_rules.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

namespace jsonpath = brunvik::monitoring_modules::libjsonparser;

using topic_rule = std::optional<std::string>(std::string_view);

void check_topic(const std::string& topic, topic_rule find_fault) {
  if (const auto fault = find_fault(topic)) {
    throw usage_error(fmt::format("The topic \"{}\" {}.", quotable(topic), *fault));
  }
}

void check_path(const std::string& whose, const std::string& path) {
  try {
    const jsonpath::jsonpath_expression compiled(path);
  } catch (const jsonpath::exceptions::query_error& failure) {
    throw usage_error(
        fmt::format("{}, \"{}\": {}", whose, quotable(path), quotable(failure.what(), 500)));
  }
}

/// The end of a name that may be given with section and group.
std::string_view last_part(std::string_view name) {
  return name.substr(name.rfind('.') + 1);
}

void check_custom(const scan_options& options) {
  for (const named_value& item : options.settings) {
    const std::string_view name = last_part(item.name);
    if (name == "topic") {
      check_topic(item.value, find_filter_fault);
    } else if ((name == "message_path" || name.ends_with("_jsonpath")) && !item.value.empty()) {
      check_path(item.option, item.value);
    }
  }
  for (const channel_option& channel : options.channels) {
    const std::string whose = fmt::format("The path of channel \"{}\"", quotable(channel.name));
    if (channel.path.empty()) {
      throw usage_error(whose + " is empty.");
    }
    check_path(whose, channel.path);
  }
}

void check_topics(const scan_options& options, topic_rule find_fault, bool may_be_empty) {
  for (const named_value& item : options.settings) {
    if (last_part(item.name) == "topic" && !(may_be_empty && item.value.empty())) {
      check_topic(item.value, find_fault);
    }
  }
}

}  // namespace

void check_scan_inputs(const scan_options& options) {
  if (options.kind == "subscribe_custom_sensor") {
    check_custom(options);
  } else if (options.kind == "statistics_sensor") {
    check_topics(options, find_filter_fault, false);
  } else if (options.kind == "roundtrip_sensor") {
    // The sensor makes its topic out of this one, also out of nothing.
    check_topics(options, find_topic_fault, true);
  }
}

void check_publish_topic(const std::string& topic) {
  check_topic(topic, find_topic_fault);
}

}  // namespace kavu_probe
