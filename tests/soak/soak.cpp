// Many sensors of every kind at several brokers that come and go: `soak MINUTES`. Prints where
// every message went and what the process held. Exit 0: all explained; 1: not; 2: wrong usage.

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

#include "soak/site.hpp"
#include "soak/soak_host.hpp"

namespace kavu_test::soak {
namespace {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

constexpr int brokers = 3;

volatile std::sig_atomic_t interrupted = 0;

/// Everything that lives at the brokers; gone, and waited for, when it is destroyed.
class plant {
 public:
  plant(soak_host& host, tally& figures, pace how_long) {
    std::vector<watched_sensor*> sensors;
    for (int number = 1; number <= brokers; ++number) {
      sites_.push_back(std::make_unique<site>(host, figures, number, how_long));
      const auto added = sites_.back()->sensors();
      sensors.insert(sensors.end(), added.begin(), added.end());
    }
    std::cout << sensors.size() << " sensors at " << brokers << " brokers\n" << std::flush;
    others_ = keep_scanning(sensors);
    for (const auto& each : sites_) {
      others_.emplace_back(
          [&](const std::stop_token& stopping, const site& visited) {
            visit_often(stopping, host, figures, visited);
          },
          std::cref(*each));
      weathers_.emplace_back([&each](const std::stop_token& stopping) { each->run(stopping); });
    }
  }

  bool is_warm() const {
    return std::all_of(sites_.begin(), sites_.end(),
                       [](const auto& each) { return each->is_warm(); });
  }
  /// Waits until all that has been published has been counted.
  void finish() {
    for (auto& thread : weathers_) {
      thread.request_stop();
    }
    weathers_.clear();
  }

 private:
  std::vector<std::unique_ptr<site>> sites_;
  std::vector<std::jthread> others_;
  std::vector<std::jthread> weathers_;
};

/// Until the time is up or somebody interrupts it, with a line now and then.
void watch(const plant& all, const tally& figures, std::chrono::seconds duration,
           process_history& process) {
  const auto began = clock::now();
  auto next_line = began + 10s;
  while (clock::now() - began < duration && interrupted == 0) {
    std::this_thread::sleep_for(100ms);
    if (process.warm.threads == 0 && all.is_warm()) {
      process.warm = process_figures::now();
    }
    if (clock::now() >= next_line) {
      next_line += 10s;
      std::cout << std::chrono::round<std::chrono::seconds>(clock::now() - began).count() << " s  "
                << figures.published << " messages, " << figures.unexplained << " unexplained, "
                << figures.faults << " faults, " << process_figures::now() << std::endl;
    }
  }
  if (process.warm.threads == 0) {
    process.warm = process_figures::now();
  }
}

process_history live(tally& figures, std::chrono::seconds duration) {
  // What is kept for good by those who are used for the first time.
  {
    const mosquitto_broker first;
    soak_host(figures).clean_up();
  }
  process_history process;
  process.empty = process_figures::now();
  {
    soak_host host(figures);
    plant all(host, figures, duration < 60s ? pace{3s, 2s} : pace{12s, 16s});
    watch(all, figures, duration, process);
    all.finish();
    process.last = process_figures::now();
  }
  eventually([&] {
    process.cleaned_up = process_figures::now();
    return !process.left_something();
  });
  return process;
}

int run(std::chrono::seconds duration) {
  tally figures;
  const auto began = clock::now();
  const process_history process = live(figures, duration);
  std::cout << "\nAfter " << std::chrono::round<std::chrono::seconds>(clock::now() - began).count()
            << " s\n"
            << figures.table() << process.table();
  auto complaints = figures.complaints();
  if (process.left_something()) {
    complaints.emplace_back("threads or descriptors are left");
  }
  if (process.grew()) {
    complaints.emplace_back("the memory has grown by more than 16 MiB");
  }
  for (const auto& complaint : complaints) {
    std::cout << "! " << complaint << '\n';
  }
  return complaints.empty() ? 0 : 1;
}

}  // namespace
}  // namespace kavu_test::soak

int main(int argc, char** argv) {
  double minutes = 0;
  const char* end = argc == 2 ? argv[1] + std::strlen(argv[1]) : nullptr;
  if (argc != 2 || std::from_chars(argv[1], end, minutes).ptr != end || minutes <= 0 ||
      minutes > 1e6) {
    std::cerr << "usage: soak MINUTES\n";
    return 2;
  }
  for (const int number : {SIGINT, SIGTERM}) {
    std::signal(number, [](int) { kavu_test::soak::interrupted = 1; });
  }
  try {
    return kavu_test::soak::run(std::chrono::seconds(static_cast<std::int64_t>(minutes * 60)));
  } catch (const std::exception& failure) {
    std::cerr << "soak: " << failure.what() << '\n';
    return 1;
  }
}
