#pragma once

#include <cstdint>
#include <exception>
#include <optional>

#include "kavuhelper/messaging/kavu_message.hpp"
#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::responses {

/// The outcome of one check; unsuccessful until told otherwise.
class check_result : public messaging::kavu_message {
 public:
  explicit check_result(std::int32_t check_id) noexcept : check_id_(check_id) {}
  /// An unsuccessful one that says why the check could not run.
  check_result(std::int32_t check_id, const std::exception& failure);

  void set_success(bool success) noexcept { success_ = success; }

  [[nodiscard]] std::vector<std::uint8_t> serialize() const override;

 private:
  std::int32_t check_id_;
  bool success_ = false;
  std::optional<libi18n::i18n_msg> message_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::responses
