// Many sensors of every kind at several brokers that come and go: `soak MINUTES`. Prints where
// every message went and what the process held. Exit 0: all explained; 1: not; 2: wrong usage.

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "soak/site.hpp"
#include "soak/soak_host.hpp"
#include "soak/visitor.hpp"
#include "soak/workers.hpp"

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
    sensor_count_ = sensors.size();
    workers_.emplace(sensors);
    for (const auto& each : sites_) {
      visitors_.push_back(std::make_unique<visitor>(host, figures, *each));
      threads_.emplace_back([&each](const std::stop_token& stopping) { each->run(stopping); });
    }
  }

  std::size_t sensor_count() const { return sensor_count_; }
  bool is_warm() const {
    return std::all_of(sites_.begin(), sites_.end(),
                       [](const auto& each) { return each->is_warm(); });
  }
  /// Waits until all that has been published has been counted.
  void finish() {
    for (auto& thread : threads_) {
      thread.request_stop();
    }
    for (auto& thread : threads_) {
      thread.join();
    }
    threads_.clear();
  }

 private:
  std::size_t sensor_count_ = 0;
  std::vector<std::unique_ptr<site>> sites_;
  std::optional<workers> workers_;
  std::vector<std::unique_ptr<visitor>> visitors_;
  std::vector<std::jthread> threads_;
};

/// Until the time is up or somebody interrupts it, with a line now and then.
void watch(const plant& all, const tally& figures, std::chrono::seconds duration,
           process_history& process) {
  const auto began = clock::now();
  auto next_line = began + 10s;
  bool warm = false;
  while (clock::now() - began < duration && interrupted == 0) {
    std::this_thread::sleep_for(100ms);
    if (!warm && all.is_warm()) {
      process.warm = process_figures::now();
      warm = true;
    }
    if (clock::now() >= next_line) {
      next_line += 10s;
      std::cout << figures.progress(std::chrono::round<std::chrono::seconds>(clock::now() - began))
                << std::flush;
    }
  }
  if (!warm) {
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
    std::cout << all.sensor_count() << " sensors at " << brokers << " brokers\n" << std::flush;
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
  bool good = figures.unexplained == 0 && figures.faults == 0;
  for (const auto& complaint : figures.complaints()) {
    std::cout << "! " << complaint << '\n';
  }
  if (process.left_something()) {
    std::cout << "! threads or descriptors are left\n";
    good = false;
  }
  if (process.grew()) {
    std::cout << "! the memory has grown by more than "
              << process_history::resident_slack / (1024 * 1024) << " MiB\n";
    good = false;
  }
  return good ? 0 : 1;
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
