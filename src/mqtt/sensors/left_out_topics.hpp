#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "kavuhelper/module/service_container.hpp"
#include "liblog/log_interface.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// The first topic since somebody last looked that the broker delivered for a filter and that the
/// filter's wildcards do not cover. [any-thread]
class left_out_topics {
 public:
  /// [client-thread]
  void note(const std::string& topic);
  /// Shortened, if it is very long, and with "?" for what cannot be shown; empty when there was
  /// none.
  std::optional<std::string> take();

 private:
  std::atomic<bool> noted_{false};
  std::mutex mutex_;  // guards what follows
  std::optional<std::string> first_;
};

/// Tells a sensor's user of the messages that its filter leaves out: with each result of an
/// interval in which there were some, and at most once an hour in the module's log and the
/// sensor's. [host-thread], one at a time
class left_out_report {
 public:
  /// `sensor_log` is empty for a sensor that does not log.
  left_out_report(libkavuhelper::module::service_container& container, std::int32_t sensor_id,
                  std::shared_ptr<liblog::log_interface> sensor_log, std::string filter);

  /// What the subscription writes to, which may outlive the sensor.
  [[nodiscard]] const std::shared_ptr<left_out_topics>& topics() const noexcept { return topics_; }

  /// The warning for the interval that ends now; empty when nothing was left out.
  std::string take_warning();

 private:
  using clock = std::chrono::steady_clock;

  const std::int32_t sensor_id_;
  const std::shared_ptr<liblog::log_interface> sensor_log_;
  const std::shared_ptr<liblog::log_interface> module_log_;  // null where there is none
  const std::string filter_;
  const std::shared_ptr<left_out_topics> topics_ = std::make_shared<left_out_topics>();
  std::optional<clock::time_point> last_logged_;
};

}  // namespace brunvik::monitoring_modules::mqtt
