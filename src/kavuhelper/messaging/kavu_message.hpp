#pragma once

#include <cstdint>
#include <vector>

namespace brunvik::monitoring_modules::libkavuhelper::messaging {

/// Something that the module tells its host.
class kavu_message {
 public:
  virtual ~kavu_message();

  /// The bytes of the whole message as the host reads it. Throws `message_too_long` beyond
  /// 2,147,483,647 bytes, which is what the format can carry. [any-thread]
  [[nodiscard]] virtual std::vector<std::uint8_t> serialize() const = 0;

 protected:
  kavu_message() = default;
  kavu_message(const kavu_message&) = default;
  kavu_message& operator=(const kavu_message&) = default;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::messaging
