#pragma once

namespace brunvik::monitoring_modules::mqtt {

/// The three levels of MQTT 3.1.1, section 4.3. The numbers go to the wire unchanged.
enum class quality_of_service : int {
  at_most_once = 0,
  at_least_once = 1,
  exactly_once = 2,
};

}  // namespace brunvik::monitoring_modules::mqtt
