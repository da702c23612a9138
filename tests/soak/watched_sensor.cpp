#include "soak/watched_sensor.hpp"

namespace kavu_test::soak {

void watched_sensor::scan() {
  const int turn = weather_.turn;
  const int calm = weather_.calm;
  const auto began = std::chrono::steady_clock::now();
  const auto result = host_.scan(id_);
  tally_.note_scan_time(std::chrono::steady_clock::now() - began);
  if (result && result->response_code() == kavu::wire::RESPONSE_CODE_OK) {
    ++tally_.scans_ok;
    read(*result);
    if (turn % 2 == 0 && turn == weather_.turn) {
      well_in_turn_ = turn;
    }
    return;
  }
  const bool lost = result && result->message().key() == "error.connection_lost";
  ++(lost ? tally_.scans_connection_lost : tally_.scans_other);
  if (calm >= 0 && calm == weather_.calm) {
    tally_.note_fault(name() + " failed while the broker stood: " +
                      (result ? result->message().text() : "no result"));
  }
}

void watched_sensor::read(const kavu::wire::ScanResult& result) {
  if (kind_ == sensor_kind::statistics) {
    messages_ += integer_value(result, 0).value_or(0);
    bytes_ += integer_value(result, 1).value_or(0);
  } else if (kind_ == sensor_kind::custom) {
    value_ = integer_value(result, 1).value_or(value_);
  }
}

std::string watched_sensor::name() const {
  constexpr const char* kinds[] = {"statistics sensor ", "custom sensor ", "round trip sensor "};
  return kinds[static_cast<int>(kind_)] + std::to_string(id_);
}

}  // namespace kavu_test::soak
