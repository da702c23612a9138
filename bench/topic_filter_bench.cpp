// Whether a filter covers a topic, beside the standard library's regular expression of the same
// meaning. Short topics only: on long ones that one overflows the stack.
#include "mqtt/topic_filter.hpp"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "liblog/null_logger.hpp"
#include "libregex/compile.hpp"
#include "ratios.hpp"

namespace kavu_bench {
namespace {

using namespace brunvik::monitoring_modules;

struct question {
  std::string filter;
  std::string topic;
};

/// Exact, single level, multi level and mixed, each with a topic that matches and one that does
/// not before its end.
const std::vector<question> questions{
    {"plant/line_03/sensor_17/value", "plant/line_03/sensor_17/value"},
    {"plant/line_03/sensor_17/value", "plant/line_03/sensor_18/value"},
    {"plant/+/sensor_17/value", "plant/line_03/sensor_17/value"},
    {"plant/+/sensor_17/value", "plant/line_03/sensor_18/value"},
    {"plant/#", "plant/line_03/sensor_17/value"},
    {"plant/#", "office/line_03/sensor_17/value"},
    {"+/line_03/#", "plant/line_03/sensor_17/value"},
    {"+/line_03/#", "plant/line_04/sensor_17/value"},
};

/// One iteration is one question.
void match_with_filter(benchmark::State& state) {
  std::vector<mqtt::topic_filter> filters;
  for (const auto& each : questions) {
    filters.emplace_back(each.filter);
  }
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(filters[next].matches(questions[next].topic));
    next = (next + 1) % questions.size();
  }
}
BENCHMARK(match_with_filter)->Name("topic_filter::matches");

void match_with_regex(benchmark::State& state) {
  liblog::null_logger log;
  std::vector<std::regex> patterns;
  for (const auto& each : questions) {
    patterns.push_back(libregex::compile(log, mqtt::topic_filter(each.filter).pattern()));
  }
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::regex_match(questions[next].topic, patterns[next]));
    next = (next + 1) % questions.size();
  }
}
BENCHMARK(match_with_regex)->Name("std::regex_match");

void make_filter(benchmark::State& state) {
  std::size_t next = 0;
  for (auto _ : state) {
    mqtt::topic_filter filter(questions[next].filter);
    benchmark::DoNotOptimize(filter);
    next = (next + 1) % questions.size();
  }
}
BENCHMARK(make_filter)->Name("topic_filter, made");

void make_regex(benchmark::State& state) {
  liblog::null_logger log;
  std::size_t next = 0;
  for (auto _ : state) {
    const mqtt::topic_filter filter(questions[next].filter);
    benchmark::DoNotOptimize(libregex::compile(log, filter.pattern()));
    next = (next + 1) % questions.size();
  }
}
BENCHMARK(make_regex)->Name("std::regex, made");

}  // namespace
}  // namespace kavu_bench

int main(int argc, char** argv) {
  return kavu_bench::run_with_ratios(argc, argv,
                                     {{"std::regex_match"},
                                      {"topic_filter::matches", "std::regex_match"},
                                      {"std::regex, made"},
                                      {"topic_filter, made", "std::regex, made"}});
}
