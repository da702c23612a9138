// One scan's questions of a custom sensor: a payload of about a kilobyte is parsed and ten channels
// are read from it, with expressions that were compiled before and with such as are compiled each
// time.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <array>
#include <memory>
#include <string>

#include "libjsonparser/jsonpath_parser.hpp"
#include "ratios.hpp"

namespace kavu_bench {
namespace {

using namespace brunvik::monitoring_modules;

const std::array<std::string, 10> questions{
    "$.device.uptime",     "$.device.signal",
    "$.readings[0].value", "$.readings[3].value",
    "$.readings[7].value", "$.totals.energy",
    "$.totals['water']",   "$.alarms[-1:].level",
    "$..temperature",      "$.readings[?(@.channel == 5)].value",
};

std::string make_payload() {
  std::string readings;
  for (int channel = 0; channel < 12; ++channel) {
    readings += fmt::format(R"({}{{"channel":{},"value":{}.25,"unit":"kWh","quality":"good"}})",
                            channel == 0 ? "" : ",", channel, channel * 17);
  }
  return fmt::format(
      R"({{"device":{{"name":"press_07","uptime":86400,"signal":-61.5,"temperature":41.5}},)"
      R"("readings":[{}],"totals":{{"energy":18446.5,"water":1205}},)"
      R"("alarms":[{{"level":1}},{{"level":3}}],"time":"2024-05-01T12:00:00Z"}})",
      readings);
}

void parse(benchmark::State& state) {
  const auto payload = make_payload();
  const auto expressions = std::make_shared<libjsonparser::jsonpath_expressions>();
  for (auto _ : state) {
    const libjsonparser::jsonpath_parser parser(payload, expressions);
    benchmark::DoNotOptimize(&parser);
  }
}
BENCHMARK(parse)->Name("parsing alone");

void read_channels(benchmark::State& state, std::size_t kept_expressions) {
  const auto payload = make_payload();
  const auto expressions = std::make_shared<libjsonparser::jsonpath_expressions>(kept_expressions);
  for (auto _ : state) {
    const libjsonparser::jsonpath_parser parser(payload, expressions);
    for (const auto& question : questions) {
      benchmark::DoNotOptimize(parser.query_float(question));
    }
  }
}
BENCHMARK_CAPTURE(read_channels, kept, libjsonparser::jsonpath_expressions::default_capacity)
    ->Name("ten channels, expressions kept");
BENCHMARK_CAPTURE(read_channels, compiled, 0)->Name("ten channels, compiled each time");

}  // namespace
}  // namespace kavu_bench

int main(int argc, char** argv) {
  constexpr auto compiled = "ten channels, compiled each time";
  return kavu_bench::run_with_ratios(
      argc, argv,
      {{compiled}, {"ten channels, expressions kept", compiled}, {"parsing alone", compiled}});
}
