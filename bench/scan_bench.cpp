// One scan of a statistics sensor as the host calls it, beside the least that its answer can cost:
// making and reading the same message.
#include <benchmark/benchmark.h>

#include <stop_token>
#include <string>

#include "hosted_module.hpp"
#include "probe/demo/private_broker.hpp"
#include "ratios.hpp"

namespace kavu_bench {
namespace {

constexpr std::int32_t sensor_id = 1;
constexpr const char* quiet_filter = "nobody/publishes/here";

/// A module with one sensor, for all benchmarks of the program.
class scene {
 public:
  scene() { module_.create_statistics_sensor(sensor_id, broker_.port(), quiet_filter); }

  hosted_module& module() { return module_; }

  static scene& shared() {
    static scene all;
    return all;
  }

 private:
  kavu_probe::private_broker broker_{std::stop_token{}};
  hosted_module module_;
};

/// As the host calls it, reading the answer included.
void scan(benchmark::State& state) {
  auto& module = scene::shared().module();
  for (auto _ : state) {
    module.scan(sensor_id);
  }
}
BENCHMARK(scan)->Name("ExecuteSensorScan");

void answer(benchmark::State& state) {
  auto& module = scene::shared().module();
  module.scan(sensor_id);
  kavu::wire::Envelope envelope;
  *envelope.mutable_scan_result() = module.last_result();
  for (auto _ : state) {
    kavu::wire::Envelope copy(envelope);
    kavu::wire::Envelope read;
    if (!read.ParseFromString(copy.SerializeAsString())) {
      state.SkipWithError("the message cannot be read");
    }
    benchmark::DoNotOptimize(read);
  }
}
BENCHMARK(answer)->Name("its answer, made and read");

}  // namespace
}  // namespace kavu_bench

int main(int argc, char** argv) {
  constexpr auto answer = "its answer, made and read";
  return kavu_bench::run_with_ratios(argc, argv, {{answer}, {"ExecuteSensorScan", answer}});
}
