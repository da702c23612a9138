// Counting one message, beside the least that telling topics apart can cost: looking one up in a
// set that nobody else uses.
#include "mqtt/sensors/statistics_counters.hpp"

#include <benchmark/benchmark.h>

#include <string>
#include <unordered_set>
#include <vector>

#include "flood.hpp"
#include "ratios.hpp"

namespace kavu_bench {
namespace {

using namespace brunvik::monitoring_modules;

std::vector<mqtt::received_message> make_messages() {
  std::vector<mqtt::received_message> messages;
  for (std::size_t topic = 0; topic < flood_topics; ++topic) {
    messages.push_back({flood_topic(topic), std::string(flood_payload_bytes, 'x'), false});
  }
  return messages;
}

void count(benchmark::State& state) {
  const auto messages = make_messages();
  mqtt::statistics_counters counters;
  std::size_t next = 0;
  for (auto _ : state) {
    counters.count(messages[next]);
    next = (next + 1) % messages.size();
  }
  if (counters.take().messages != static_cast<std::uint64_t>(state.iterations())) {
    state.SkipWithError("not every message was counted");
  }
}
BENCHMARK(count)->Name("statistics_counters::count");

void look_up(benchmark::State& state) {
  const auto messages = make_messages();
  std::unordered_set<std::string> seen;
  for (const auto& message : messages) {
    seen.insert(message.topic);
  }
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(seen.contains(messages[next].topic));
    next = (next + 1) % messages.size();
  }
}
BENCHMARK(look_up)->Name("std::unordered_set::contains");

}  // namespace
}  // namespace kavu_bench

int main(int argc, char** argv) {
  constexpr auto look_up = "std::unordered_set::contains";
  return kavu_bench::run_with_ratios(argc, argv,
                                     {{look_up}, {"statistics_counters::count", look_up}});
}
