#pragma once

#include <string>

#include "kavuhelper/messaging/kavu_message.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::messaging {

/// The module's definition document on its way to the host.
class module_information_message : public kavu_message {
 public:
  /// `definition` is one JSON object. Without texts its top-level member "Text" is left out, and
  /// everything else stays as it stands, byte for byte. Throws `create_protobuf_from_json_failed`
  /// when that cannot be done because it is not an object.
  module_information_message(const std::string& definition, bool include_texts);

  [[nodiscard]] std::vector<std::uint8_t> serialize() const override;

 private:
  std::string definition_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::messaging
