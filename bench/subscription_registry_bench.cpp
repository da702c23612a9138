// Handing one message to those who want it, for a growing number of those who do not: what a
// message costs must not depend on how many sensors share the client.
#include "mqtt/subscription_registry.hpp"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <atomic>
#include <string>
#include <vector>

#include "mqtt/topic_subscription.hpp"
#include "ratios.hpp"

namespace kavu_bench {
namespace {

using namespace brunvik::monitoring_modules;

constexpr std::size_t topics = 1'000;

std::string device(std::size_t number) {
  return fmt::format("plant/line_{:02}/sensor_{:03}", number / topics, number % topics);
}

/// A registry with subscriptions, and messages of which each reaches the same number of them.
class scene {
 public:
  void subscribe(const std::string& filter) {
    subscriptions_.push_back(std::make_shared<mqtt::topic_subscription>(
        filter, [this](const auto&) { served_.fetch_add(1, std::memory_order_relaxed); }));
    registry_.add(subscriptions_.back());
  }

  /// One iteration is one message; each must have been handed out `receivers` times.
  void run(benchmark::State& state, std::size_t receivers) {
    std::vector<std::shared_ptr<mqtt::received_message>> messages;
    for (std::size_t topic = 0; topic < topics; ++topic) {
      messages.push_back(std::make_shared<mqtt::received_message>(
          mqtt::received_message{device(topic), std::string(100, 'x'), false}));
    }
    std::size_t next = 0;
    for (auto _ : state) {
      registry_.dispatch(messages[next]);
      next = (next + 1) % topics;
    }
    if (served_ != static_cast<std::size_t>(state.iterations()) * receivers) {
      state.SkipWithError("not all who wanted the messages got them");
    }
  }

 private:
  mqtt::subscription_registry registry_{std::make_shared<mqtt::client_log>("bench")};
  std::vector<std::shared_ptr<mqtt::topic_subscription>> subscriptions_;
  std::atomic<std::size_t> served_{0};
};

void one_for_all(benchmark::State& state) {
  scene all;
  all.subscribe("plant/#");
  all.run(state, 1);
}
BENCHMARK(one_for_all)->Name("dispatch, 1 filter");

/// A filter for each device; there are more devices than send anything.
void one_for_each(benchmark::State& state) {
  scene all;
  for (std::int64_t filter = 0; filter < state.range(0); ++filter) {
    all.subscribe(device(static_cast<std::size_t>(filter)));
  }
  all.run(state, 1);
}
BENCHMARK(one_for_each)->Name("dispatch, a filter a topic")->Arg(1'000)->Arg(10'000);

/// Filters with wildcards, all but one for other lines of the plant.
void one_with_wildcards(benchmark::State& state) {
  scene all;
  all.subscribe("plant/line_00/+");
  for (std::int64_t filter = 1; filter < state.range(0); ++filter) {
    all.subscribe(fmt::format("plant/line_{:02}/{}", filter, filter % 2 == 0 ? "+" : "#"));
  }
  all.run(state, 1);
}
BENCHMARK(one_with_wildcards)->Name("dispatch, wildcards")->Arg(100)->Arg(10'000);

/// Sensors that all want everything: here the cost must grow, but no more than their number.
void all_for_all(benchmark::State& state) {
  scene all;
  for (std::int64_t subscription = 0; subscription < state.range(0); ++subscription) {
    all.subscribe("plant/#");
  }
  all.run(state, static_cast<std::size_t>(state.range(0)));
}
BENCHMARK(all_for_all)->Name("dispatch, all want all")->Arg(100);

}  // namespace
}  // namespace kavu_bench

int main(int argc, char** argv) {
  constexpr auto one = "dispatch, 1 filter";
  return kavu_bench::run_with_ratios(argc, argv,
                                     {{one},
                                      {"dispatch, a filter a topic/1000", one},
                                      {"dispatch, a filter a topic/10000", one},
                                      {"dispatch, wildcards/100", one},
                                      {"dispatch, wildcards/10000", one},
                                      {"dispatch, all want all/100", one}});
}
