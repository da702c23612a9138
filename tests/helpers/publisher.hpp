#pragma once

#include "helpers/mqtt_peer.hpp"

namespace kavu_test {

/// Publishes to a broker from outside.
using publisher = mqtt_peer;

}  // namespace kavu_test
