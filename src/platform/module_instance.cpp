#include "kavuhelper/module/module_instance.hpp"

#include <mutex>
#include <shared_mutex>

#include "kavuhelper/messaging/message_service.hpp"
#include "kavuhelper/utils/exceptions.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// The only way to the host's callback; once closed, nothing gets through. Messages pass side by
/// side.
class module_instance::host_gate {
 public:
  explicit host_gate(host_callback callback) : callback_(callback) {}

  void pass(std::uint64_t context, void* data, unsigned long size) {
    const std::shared_lock lock(mutex_);
    if (callback_ != nullptr) {
      // The length at the boundary has 32 bits; a longer message cannot be serialised.
      callback_(context, static_cast<const std::uint8_t*>(data), static_cast<std::uint32_t>(size));
    }
  }

  void close() noexcept {
    const std::lock_guard lock(mutex_);
    callback_ = nullptr;
  }

 private:
  std::shared_mutex mutex_;
  host_callback callback_;  // guarded by mutex_
};

module_instance::module_instance(std::uint64_t context, const host_callback& callback)
    : context_(context),
      container_(std::make_shared<service_container>()),
      dispatcher_(std::make_shared<sensor_dispatcher>(container_)),
      gate_(std::make_shared<host_gate>(callback)) {
  if (callback == nullptr) {
    throw utils::exceptions::initialization_error("The host gave no callback.");
  }
  container_->add_factory<messaging::message_service_interface>([gate = gate_, host = context_] {
    return std::make_unique<messaging::message_service>(
        [gate, host](void* data, unsigned long size) { gate->pass(host, data, size); });
  });
}

module_instance::~module_instance() {
  dispatcher_.reset();
  container_.reset();
  gate_->close();
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
