#include "platform/wire_codec.hpp"

#include "kavu/module_api.h"
#include "kavuhelper/utils/exceptions.hpp"
#include "libi18n/i18n_exception.hpp"

namespace brunvik::monitoring_modules::platform {

namespace channels = libkavuhelper::channels;

kavu::wire::Envelope make_envelope() {
  kavu::wire::Envelope envelope;
  envelope.set_api_level(KAVU_MODULE_API_LEVEL);
  return envelope;
}

std::vector<std::uint8_t> serialize(const kavu::wire::Envelope& envelope, std::size_t limit) {
  const std::size_t size = envelope.ByteSizeLong();
  if (size > limit) {
    throw libkavuhelper::utils::exceptions::message_too_long(size, limit);
  }
  std::vector<std::uint8_t> bytes(size);
  if (!envelope.SerializeToArray(bytes.data(), static_cast<int>(size))) {
    throw libkavuhelper::utils::exceptions::message_serialization_failed();
  }
  return bytes;
}

bool parse(kavu::wire::Envelope& envelope, const void* data, std::size_t size) noexcept {
  try {
    return data != nullptr && size <= longest_message &&
           envelope.ParseFromArray(data, static_cast<int>(size)) &&
           envelope.content_case() != kavu::wire::Envelope::CONTENT_NOT_SET;
  } catch (...) {
    return false;
  }
}

libi18n::i18n_msg message_of(const std::exception& failure) {
  if (const auto* const localisable = dynamic_cast<const libi18n::i18n_exception*>(&failure)) {
    return localisable->message();
  }
  return libi18n::i18n_msg::verbatim(failure.what());
}

void to_wire(const libi18n::i18n_msg& message, kavu::wire::LocalisedText& wire) {
  wire.set_key(message.key());
  wire.set_text(message.text());
}

libi18n::i18n_msg from_wire(const kavu::wire::LocalisedText& wire) {
  return {wire.key(), wire.text()};
}

void to_wire(const channels::dynamic_channel& channel, kavu::wire::ChannelDefinition& wire) {
  const auto& options = channel.options;
  wire.set_id(channel.id);
  to_wire(channel.name, *wire.mutable_name());
  wire.set_kind(static_cast<kavu::wire::ChannelKind>(options.kind));
  wire.set_unit(static_cast<kavu::wire::ChannelUnit>(options.unit));
  wire.set_unit_text(options.unit_text);
  if (options.scale_factor) {
    wire.set_scale_factor(*options.scale_factor);
  }
  wire.set_lookup_name(options.lookup_name);
  wire.set_bits_per_unit(options.bits_per_unit);
  wire.set_per_seconds(options.per_seconds);
}

std::optional<channels::dynamic_channel> from_wire(const kavu::wire::ChannelDefinition& wire) {
  switch (wire.kind()) {
    case kavu::wire::CHANNEL_KIND_INTEGER:
    case kavu::wire::CHANNEL_KIND_FLOAT:
    case kavu::wire::CHANNEL_KIND_DELTA_COUNTER:
      break;
    default:
      return std::nullopt;
  }
  channels::dynamic_channel_options options;
  options.kind = static_cast<channels::channel_kind>(wire.kind());
  options.unit = static_cast<channels::channel_unit>(wire.unit());
  options.unit_text = wire.unit_text();
  if (wire.has_scale_factor()) {
    options.scale_factor = wire.scale_factor();
  }
  options.lookup_name = wire.lookup_name();
  options.bits_per_unit = wire.bits_per_unit();
  options.per_seconds = wire.per_seconds();
  return channels::dynamic_channel{wire.id(), from_wire(wire.name()), std::move(options)};
}

}  // namespace brunvik::monitoring_modules::platform
