#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

#include "common.pb.h"
#include "envelope.pb.h"
#include "kavuhelper/channels/dynamic_channel.hpp"
#include "libi18n/i18n_msg.hpp"

/// Between the library's values and the messages on the wire.
namespace brunvik::monitoring_modules::platform {

/// Bytes of the longest message that the format can carry.
inline constexpr std::size_t longest_message = INT_MAX;

/// An envelope to the host without content.
[[nodiscard]] kavu::wire::Envelope make_envelope();

/// Throws `message_too_long` beyond `limit` bytes.
[[nodiscard]] std::vector<std::uint8_t> serialize(const kavu::wire::Envelope& envelope,
                                                  std::size_t limit = longest_message);

/// False when the bytes are no envelope, or one without content; `envelope` may then hold a part.
[[nodiscard]] bool parse(kavu::wire::Envelope& envelope, const void* data,
                         std::size_t size) noexcept;

/// The message of a localisable failure; for any other its text.
[[nodiscard]] libi18n::i18n_msg message_of(const std::exception& failure);

void to_wire(const libi18n::i18n_msg& message, kavu::wire::LocalisedText& wire);
[[nodiscard]] libi18n::i18n_msg from_wire(const kavu::wire::LocalisedText& wire);

void to_wire(const libkavuhelper::channels::dynamic_channel& channel,
             kavu::wire::ChannelDefinition& wire);
/// Empty for a kind of channel that is not known.
[[nodiscard]] std::optional<libkavuhelper::channels::dynamic_channel> from_wire(
    const kavu::wire::ChannelDefinition& wire);

}  // namespace brunvik::monitoring_modules::platform
