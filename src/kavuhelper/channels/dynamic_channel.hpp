#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "libi18n/i18n_msg.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::channels {

/// What the values of a channel are. The numbers are those of the wire.
enum class channel_kind : std::int32_t {
  /// A 64-bit integer, shown as it is.
  integer = 1,
  /// A double, shown as it is.
  floating = 2,
  /// A 64-bit integer that only grows; the host shows the difference per interval.
  delta_counter = 3,
};

/// What a channel's value 1 stands for. The numbers are those of the wire.
enum class channel_unit : std::int32_t {
  none = 0,
  /// `unit_text` says it.
  custom = 1,
  seconds = 3,
  milliseconds = 4,
  count = 10,
  bytes = 12,
};

/// How the host shows a channel.
struct dynamic_channel_options {
  channel_kind kind = channel_kind::integer;
  channel_unit unit = channel_unit::none;
  /// The unit as the user wrote it; only with `channel_unit::custom`.
  std::string unit_text = {};
  /// The host multiplies each value by it before showing it. Empty: 1.
  std::optional<double> scale_factor = {};
  /// Name of the lookup of the definition document that turns the value into words; else empty.
  std::string lookup_name = {};
  /// Bits in one counted unit of a size: 8 for bytes. 0: not a size.
  std::uint32_t bits_per_unit = 0;
  /// 0: an amount. n: an amount per n seconds.
  std::uint32_t per_seconds = 0;

  bool operator==(const dynamic_channel_options&) const = default;
};

/// One channel of a sensor: its id, its name and how it is shown.
struct dynamic_channel {
  std::int32_t id = 0;
  /// A name that the user chose has itself as its key.
  libi18n::i18n_msg name;
  dynamic_channel_options options;

  bool operator==(const dynamic_channel&) const = default;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::channels
