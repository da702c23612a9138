#include "probe/demo/plant_devices.hpp"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>

namespace kavu_probe {
namespace {

using namespace std::chrono_literals;

/// A value that swings about `middle`, never quite in the same way.
double swing(double seconds, double middle, double reach, double phase) {
  return middle + reach * (0.7 * std::sin(seconds / 7.0 + phase) +
                           0.3 * std::sin(seconds / 1.9 + 2.3 * phase));
}

/// A counter that grows with `rate` per second, from a life before the demo.
std::int64_t counted(double seconds, std::int64_t start, double rate) {
  return start + static_cast<std::int64_t>(seconds * rate);
}

plant_device make_tank(int number) {
  const double phase = number;
  return {fmt::format("plant/tank/{}", number), 1000ms, [phase](double t) {
            return fmt::format(R"({{"level_percent":{:.1f},"temperature_c":{:.1f},"valve":"{}"}})",
                               swing(t, 62, 25, phase), swing(t, 41, 3, phase + 1),
                               std::sin(t / 5 + phase) > 0 ? "open" : "closed");
          }};
}

plant_device make_pump(int number) {
  const double phase = number * 0.8;
  return {fmt::format("plant/pump/{}", number), 500ms, [phase](double t) {
            return fmt::format(R"({{"state":"running","speed_rpm":{:.0f},"power_kw":{:.2f}}})",
                               swing(t, 1480, 15, phase), swing(t, 7.4, 0.6, phase));
          }};
}

plant_device make_conveyor(int number) {
  const double phase = number;
  return {fmt::format("plant/conveyor/{}", number), 500ms, [phase](double t) {
            return fmt::format(R"({{"speed_m_s":{:.2f},"parts":{}}})", swing(t, 0.8, 0.05, phase),
                               counted(t, 40'000, 1.5 + phase / 10));
          }};
}

plant_device make_room(const char* name, double phase) {
  return {fmt::format("plant/room/{}", name), 2000ms, [phase](double t) {
            return fmt::format(
                R"({{"temperature_c":{:.1f},"humidity_percent":{:.0f},"co2_ppm":{:.0f}}})",
                swing(t, 21.5, 1, phase), swing(t, 48, 6, phase), swing(t, 640, 120, phase + 2));
          }};
}

plant_device make_meter(int number) {
  const double phase = number * 1.7;
  return {fmt::format("plant/energy/{}", number), 1000ms, [phase](double t) {
            return fmt::format(R"({{"power_w":{:.0f},"total_wh":{}}})", swing(t, 5200, 900, phase),
                               counted(t, 8'000'000, 1.4));
          }};
}

plant_device make_compressor(int number) {
  const double phase = number * 2.1;
  return {fmt::format("plant/compressor/{}", number), 1000ms, [phase](double t) {
            return fmt::format(R"({{"pressure_bar":{:.2f},"load_percent":{:.0f}}})",
                               swing(t, 7.2, 0.3, phase), swing(t, 70, 20, phase));
          }};
}

plant_device make_gateway(int number) {
  return {fmt::format("plant/gateway/{}/heartbeat", number), 1000ms,
          [](double t) { return fmt::format(R"({{"uptime_s":{}}})", counted(t, 86'400, 1)); }};
}

plant_device make_energy_meter() {
  return {energy_meter_topic, 500ms, [](double t) {
            const double power = swing(t, 12'400, 1'500, 0.4);
            return fmt::format(
                R"({{"power_w":{:.0f},"total_wh":{},"voltage_v":[{:.1f},{:.1f},{:.1f}],)"
                R"("phases":3,"status":"drawing {:.1f} kW on 3 phases"}})",
                power, counted(t, 18'446'000, 3.4), swing(t, 230, 1.5, 0), swing(t, 230, 1.5, 1),
                swing(t, 230, 1.5, 2), power / 1000);
          }};
}

plant_device make_cooling_pump(const silence& pause) {
  return {cooling_pump_topic, 500ms,
          [](double t) {
            return fmt::format(
                R"({{"state":"cooling pump running","speed_rpm":{:.0f},"current_a":{:.2f},)"
                R"("revolutions":{}}})",
                swing(t, 1470, 12, 3), swing(t, 14.2, 0.8, 3), counted(t, 91'000'000, 24.5));
          },
          pause};
}

template <class Make>
void add(std::vector<plant_device>& devices, int count, Make&& make) {
  for (int number = 1; number <= count; ++number) {
    devices.push_back(make(number));
  }
}

}  // namespace

std::vector<plant_device> make_plant_devices(const silence& pause) {
  std::vector<plant_device> devices;
  add(devices, 6, make_tank);
  add(devices, 6, make_pump);
  add(devices, 4, make_conveyor);
  add(devices, 4, make_meter);
  add(devices, 3, make_compressor);
  add(devices, 3, make_gateway);
  devices.back().pause = pause;
  double phase = 0;
  for (const char* room : {"hall", "office", "canteen", "server", "lab", "store", "gate", "dock"}) {
    devices.push_back(make_room(room, phase += 0.9));
  }
  devices.push_back(make_energy_meter());
  devices.push_back(make_cooling_pump(pause));
  return devices;
}

}  // namespace kavu_probe
