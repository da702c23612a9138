#pragma once

#include <string>
#include <string_view>

namespace brunvik::monitoring_modules::platform {

/// A JSON object's text without its top-level member `name`, everything else as it stands, byte
/// for byte; unchanged when there is no such member. Throws `create_protobuf_from_json_failed`
/// when the text is not one object; what is inside its members is looked at only as far as it
/// takes to find their ends.
[[nodiscard]] std::string without_member(std::string_view json, std::string_view name);

}  // namespace brunvik::monitoring_modules::platform
