#include "mqtt/sensors/left_out_topics.hpp"

#include <utility>

#include "kavuhelper/module/log_registration.hpp"
#include "liblog/severity.hpp"
#include "mqtt/transportable.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;

namespace {

constexpr auto log_interval = 1h;
constexpr std::size_t longest_shown = 200;

std::string make_readable(std::string topic) {
  if (!is_transportable_text(topic)) {
    for (char& c : topic) {
      c = c >= ' ' && c <= '~' ? c : '?';
    }
  }
  if (topic.size() > longest_shown) {
    std::size_t end = longest_shown;
    while (end > 0 && (static_cast<unsigned char>(topic[end]) & 0xC0U) == 0x80U) {
      --end;  // not within a character
    }
    topic.replace(end, std::string::npos, "...");
  }
  return topic;
}

}  // namespace

void left_out_topics::note(const std::string& topic) {
  if (noted_) {
    return;
  }
  const std::lock_guard lock(mutex_);
  first_ = make_readable(topic);
  noted_ = true;
}

std::optional<std::string> left_out_topics::take() {
  const std::lock_guard lock(mutex_);
  noted_ = false;
  return std::exchange(first_, std::nullopt);
}

left_out_report::left_out_report(libkavuhelper::module::service_container& container,
                                 std::int32_t sensor_id,
                                 std::shared_ptr<liblog::log_interface> sensor_log,
                                 std::string filter)
    : sensor_id_(sensor_id),
      sensor_log_(std::move(sensor_log)),
      module_log_(libkavuhelper::module::find_runtime_log(container)),
      filter_(std::move(filter)) {}

std::string left_out_report::take_warning() {
  const auto topic = topics_->take();
  if (!topic) {
    return {};
  }
  const auto now = clock::now();
  if (!last_logged_ || now - *last_logged_ >= log_interval) {
    last_logged_ = now;
    const std::string line = "Sensor " + std::to_string(sensor_id_) +
                             ": messages on topics that the filter '" + filter_ +
                             "' leaves out are ignored, first on '" + *topic + "'.";
    for (const auto& log : {sensor_log_, module_log_}) {
      if (log != nullptr) {
        log->log(liblog::severity::warning, line);
      }
    }
  }
  return "Messages on topics that the filter leaves out were ignored, first on '" + *topic + "'.";
}

}  // namespace brunvik::monitoring_modules::mqtt
