#include "probe/demo/demo_sensors.hpp"

#include "probe/demo/plant.hpp"

namespace kavu_probe {
namespace {

constexpr const char* custom_kind = "subscribe_custom_sensor";
constexpr auto usual = std::nullopt;

demo_sensor_plan make_energy_plan() {
  return {custom_kind,
          energy_meter_topic,
          {{"topic", energy_meter_topic},
           {"message_path", "$.status"},
           {"duration_since_last_message", "enable"}},
          {{"Power", "$.power_w", "absolute_float", "kW", "0.001"},
           {"Voltage of Phase 1", "$.voltage_v[0]", "absolute_float", "V", usual},
           {"Phases in Use", "$.phases", "absolute_integer", usual, usual},
           {"Energy Used", "$.total_wh", "delta_counter", "Wh", usual}}};
}

/// The pump falls silent for a while: its values stay and grow old.
demo_sensor_plan make_pump_plan() {
  return {custom_kind,
          cooling_pump_topic,
          {{"topic", cooling_pump_topic},
           {"message_path", "$.state"},
           {"duration_since_last_message", "enable"},
           {"retain_last_message", "retain"}},
          {{"Motor Current", "$.current_a", "absolute_float", "A", usual},
           {"Speed", "$.speed_rpm", "absolute_integer", "rpm", usual},
           {"Revolutions", "$.revolutions", "delta_counter", usual, usual}}};
}

}  // namespace

std::vector<demo_sensor_plan> make_demo_sensor_plans() {
  return {{"statistics_sensor", plant::filter, {{"topic", plant::filter}}, {}, true},
          make_energy_plan(),
          make_pump_plan(),
          {"roundtrip_sensor", "to the broker and back", {}, {}}};
}

}  // namespace kavu_probe
