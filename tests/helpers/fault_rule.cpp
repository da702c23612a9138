#include "helpers/fault_rule.hpp"

#include <stdexcept>

namespace kavu_test {

step received_step(packet_type type) {
  switch (type) {
    case packet_type::connect:
      return step::connect_received;
    case packet_type::publish:
      return step::publish_received;
    case packet_type::puback:
      return step::puback_received;
    case packet_type::pubrec:
      return step::pubrec_received;
    case packet_type::pubrel:
      return step::pubrel_received;
    case packet_type::pubcomp:
      return step::pubcomp_received;
    case packet_type::subscribe:
      return step::subscribe_received;
    case packet_type::unsubscribe:
      return step::unsubscribe_received;
    case packet_type::pingreq:
      return step::pingreq_received;
    case packet_type::disconnect:
      return step::disconnect_received;
    default:
      throw std::logic_error("a client sends no such packet");
  }
}

step sent_step(packet_type type) {
  switch (type) {
    case packet_type::connack:
      return step::connack_sent;
    case packet_type::publish:
      return step::publish_sent;
    case packet_type::puback:
      return step::puback_sent;
    case packet_type::pubrec:
      return step::pubrec_sent;
    case packet_type::pubrel:
      return step::pubrel_sent;
    case packet_type::pubcomp:
      return step::pubcomp_sent;
    case packet_type::suback:
      return step::suback_sent;
    case packet_type::unsuback:
      return step::unsuback_sent;
    case packet_type::pingresp:
      return step::pingresp_sent;
    default:
      throw std::logic_error("a broker sends no such packet");
  }
}

}  // namespace kavu_test
