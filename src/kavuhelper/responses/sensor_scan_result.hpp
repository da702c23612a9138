#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "kavuhelper/messaging/kavu_message.hpp"
#include "kavuhelper/responses/scan_response_codes.hpp"
#include "kavuhelper/settings/channel_map.hpp"
#include "libi18n/i18n_exception.hpp"
#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::responses {

/// What one scan has to say: values of channels, and a code and a message.
///
/// The definitions of the channels travel with it, all that are registered when it is serialised.
/// Used by one thread at a time.
class sensor_scan_result : public messaging::kavu_message {
 public:
  /// A result without values yet: response code ok, error code 0, no message. Shares the channels
  /// with the sensor. Throws `channel_map_not_initialized` without any.
  sensor_scan_result(std::int32_t sensor_id, std::shared_ptr<const settings::channel_map> channels);

  /// An error result: response code error, error code 0, and the failure's message. It has no
  /// channels before `set_channel_map`.
  sensor_scan_result(std::int32_t sensor_id, const libi18n::i18n_exception& failure);
  /// The same from any failure: a localisable one gives its message, others their text as key and
  /// text alike.
  sensor_scan_result(std::int32_t sensor_id, const std::exception& failure);

  /// Sets a channel's value, replacing an earlier one. Throws and changes nothing:
  /// `channel_map_not_initialized`, `channel_not_defined`, or `invalid_channel_mode` when the
  /// channel takes values of the other type. A double must be finite (`message_exception`).
  void set_value(std::int32_t channel, long value);
  void set_value(std::int32_t channel, double value);
  /// Takes a channel's value away; nothing when it has none.
  void remove_value(std::int32_t channel) noexcept;

  void set_error_code(int code) noexcept;
  void set_response_code(scan_response_codes code) noexcept;
  /// Leaves the response code as it is.
  void set_response_message(const libi18n::i18n_msg& message);
  /// Takes the failure's message, and makes the response code error unless it is not ok already.
  /// Values stay.
  void set_failure(const std::exception& failure);
  void set_channel_map(std::shared_ptr<const settings::channel_map> channels);

  [[nodiscard]] std::int32_t get_sensor_id() const noexcept;
  [[nodiscard]] scan_response_codes get_response_code() const noexcept;
  /// Empty when there is none.
  [[nodiscard]] const std::optional<libi18n::i18n_msg>& get_response_message() const noexcept;

  [[nodiscard]] std::vector<std::uint8_t> serialize() const override;

  /// Takes everything but the sensor's id from a result that was serialised before, perhaps in an
  /// earlier life of the sensor. Throws and changes nothing: `message_deserialization_failed` when
  /// the bytes are damaged, `message_exception` when the result's channels are not exactly those
  /// registered now, `channel_map_not_initialized`.
  void restore(std::string_view bytes);

 private:
  using channel_value = std::variant<std::int64_t, double>;

  const channels::dynamic_channel& get_definition(std::int32_t channel) const;

  std::int32_t sensor_id_;
  int error_code_ = 0;
  scan_response_codes response_code_ = scan_response_codes::ok;
  std::optional<libi18n::i18n_msg> message_;
  std::shared_ptr<const settings::channel_map> channels_;
  std::map<std::int32_t, channel_value> values_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::responses
