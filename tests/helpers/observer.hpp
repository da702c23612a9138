#pragma once

#include "helpers/mqtt_peer.hpp"

namespace kavu_test {

/// Subscribes at a broker and collects what arrives.
class observer : public mqtt_peer {
 public:
  observer(std::uint16_t port, const std::string& filter, int qos = 2) : mqtt_peer(port) {
    subscribe(filter, qos);
  }
};

}  // namespace kavu_test
