#pragma once

#include <atomic>
#include <cstdint>

#include "kavuhelper/notifications/request.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::notifications {

/// How many notifications a service has sent since it was built.
struct delivery_counts {
  std::atomic<std::uint64_t> delivered = 0;
  std::atomic<std::uint64_t> failed = 0;
};

/// Sends notifications.
///
/// The dispatcher builds one when the first request comes, from a share of the service container
/// and a log, and keeps it for the module's life.
class service_interface {
 public:
  virtual ~service_interface();

  /// Sends one notification before it returns; any exception is its failure. Several may be under
  /// way at once. [host-thread]
  virtual void send(const request& notification) = 0;

  /// Kept by the dispatcher, which writes them to the log. [any-thread]
  virtual delivery_counts& counts() { return counts_; }

 private:
  delivery_counts counts_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::notifications
