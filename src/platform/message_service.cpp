#include "kavuhelper/messaging/message_service.hpp"

#include <utility>

#include "kavuhelper/utils/exceptions.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::messaging {

message_service::message_service(send_function send) : send_(std::move(send)) {
  if (!send_) {
    throw utils::exceptions::initialization_error("There is no way to send messages.");
  }
}

void message_service::send(const kavu_message& message) {
  auto bytes = message.serialize();
  try {
    send_(bytes.data(), bytes.size());
  } catch (...) {
    // The host's failure is the host's; there is nobody here whom it could be told.
  }
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::messaging
