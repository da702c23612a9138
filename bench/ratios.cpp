#include "ratios.hpp"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <future>
#include <list>
#include <map>
#include <string>

#include "cost_table.hpp"

namespace kavu_bench {
namespace {

class cost_collector final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) {
      if (run.error_occurred) {
        fmt::print(stderr, "{}: {}\n", run.benchmark_name(), run.error_message);
        failed_ = true;
      } else if (run.run_type == Run::RT_Iteration) {
        const double seconds =
            run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        costs_[run.run_name.str()].push_back(seconds * 1e9);
      }
    }
  }

  /// In nanoseconds; empty when the benchmark was not run.
  const std::vector<double>& cost_of(std::string_view name) { return costs_[std::string(name)]; }
  bool failed() const { return failed_; }

 private:
  std::map<std::string, std::vector<double>> costs_;
  bool failed_ = false;
};

void print_rows(const std::vector<row>& rows, cost_collector& collected) {
  std::list<cost> costs;
  std::vector<cost_line> lines;
  for (const auto& [name, reference] : rows) {
    if (!collected.cost_of(name).empty()) {
      costs.push_back({std::string(name), collected.cost_of(name)});
      lines.push_back({costs.back(), reference});
    }
  }
  print_table(lines);
}

}  // namespace

int run_with_ratios(int argc, char** argv, const std::vector<row>& rows) {
  // Defaults, which the caller's own arguments override.
  std::string repetitions = "--benchmark_repetitions=15";
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  std::string turn = "--benchmark_min_time=0.1";
  std::vector<char*> arguments{argv[0], repetitions.data(), interleaving.data(), turn.data()};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  arguments.push_back(nullptr);
  int count = static_cast<int>(arguments.size()) - 1;
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
    return 2;
  }
  // Shared pointers are cheaper as long as the process has only one thread, as no host has.
  std::promise<void> end;
  const auto second_thread = std::async(std::launch::async, [&] { end.get_future().wait(); });
  cost_collector collected;
  benchmark::RunSpecifiedBenchmarks(&collected);
  end.set_value();
  print_rows(rows, collected);
  return collected.failed() ? 1 : 0;
}

}  // namespace kavu_bench
