#pragma once

#include <cstdint>
#include <exception>
#include <optional>

#include "kavuhelper/messaging/kavu_message.hpp"
#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::notifications {

/// The answer to one notification request.
class response : public messaging::kavu_message {
 public:
  /// It was sent.
  explicit response(std::int32_t id) noexcept : id_(id) {}
  /// It was not, and why.
  response(std::int32_t id, const std::exception& failure);

  [[nodiscard]] std::vector<std::uint8_t> serialize() const override;

 private:
  std::int32_t id_;
  std::optional<libi18n::i18n_msg> failure_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::notifications
