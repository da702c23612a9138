#include "kavuhelper/messaging/module_information_message.hpp"

#include "platform/json_member.hpp"
#include "platform/wire_codec.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::messaging {

module_information_message::module_information_message(const std::string& definition,
                                                       bool include_texts)
    : definition_(include_texts ? definition : platform::without_member(definition, "Text")) {}

std::vector<std::uint8_t> module_information_message::serialize() const {
  auto envelope = platform::make_envelope();
  envelope.mutable_module_information()->set_definition(definition_);
  return platform::serialize(envelope);
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::messaging
