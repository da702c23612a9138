#pragma once

namespace brunvik::monitoring_modules::mqtt {

/// Which addresses of a broker may be used.
enum class address_family { any, ipv4, ipv6 };

}  // namespace brunvik::monitoring_modules::mqtt
