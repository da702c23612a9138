#pragma once

#include <functional>

#include "kavuhelper/messaging/message_service_interface.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::messaging {

/// Hands messages to a function.
class message_service : public message_service_interface {
 public:
  /// Receives the bytes of one message and their number. They are valid during the call only.
  using send_function = std::function<void(void*, unsigned long)>;

  /// Throws `initialization_error` for an empty function.
  explicit message_service(send_function send);

  void send(const kavu_message& message) override;

 private:
  const send_function send_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::messaging
