#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "kavuhelper/module/sensor_dispatcher.hpp"
#include "liblog/severity.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// One registered notification service. It is built when first asked for: the logs that it gets
/// do not exist when it is registered. A build that fails is tried again at the next request.
class sensor_dispatcher::notification_slot {
 public:
  explicit notification_slot(notification_creation create) : create_(std::move(create)) {}

  /// Throws what building the service or sending throws. The log may be null.
  void deliver(const notifications::request& request,
               const std::shared_ptr<service_container>& container,
               const std::shared_ptr<liblog::log_interface>& logger) {
    auto& service = get_service(container, logger);
    try {
      service.send(request);
    } catch (...) {
      ++service.counts().failed;
      log_counts(service, request, logger);
      throw;
    }
    ++service.counts().delivered;
    log_counts(service, request, logger);
  }

 private:
  notifications::service_interface& get_service(
      const std::shared_ptr<service_container>& container,
      const std::shared_ptr<liblog::log_interface>& logger) {
    const std::lock_guard lock(mutex_);
    if (!service_) {
      service_ = create_(container, logger);
    }
    return *service_;
  }

  // What becomes of the line must not change what became of the notification.
  static void log_counts(notifications::service_interface& service,
                         const notifications::request& request,
                         const std::shared_ptr<liblog::log_interface>& logger) noexcept {
    try {
      if (logger) {
        logger->log(liblog::severity::debug,
                    request.get_settings().get_kind() + ": " +
                        std::to_string(service.counts().delivered) + " delivered, " +
                        std::to_string(service.counts().failed) + " failed");
      }
    } catch (...) {
    }
  }

  const notification_creation create_;
  std::mutex mutex_;  // held while the service is built, so that there is one
  std::unique_ptr<notifications::service_interface> service_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
