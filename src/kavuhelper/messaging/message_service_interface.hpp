#pragma once

#include "kavuhelper/messaging/kavu_message.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::messaging {

/// The way to the host. There is one per module; the service container builds it.
class message_service_interface {
 public:
  virtual ~message_service_interface();

  /// Serialises the message and hands its bytes to the host before it returns, on the calling
  /// thread; several threads may be in it at once. Throws what `serialize` throws, and nothing
  /// else: a failure of the host's own code ends here, since the caller may be a thread of a
  /// library that knows no exceptions. [any-thread]
  virtual void send(const kavu_message& message) = 0;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::messaging
