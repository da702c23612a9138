#include "soak/tally.hpp"

#include <fmt/format.h>

namespace kavu_test::soak {
namespace {

/// 1234567 as 1,234,567.
std::string grouped(std::int64_t number) {
  std::string text = std::to_string(number);
  for (auto i = static_cast<int>(text.size()) - 3; i > (number < 0 ? 1 : 0); i -= 3) {
    text.insert(static_cast<std::size_t>(i), ",");
  }
  return text;
}

std::string line(std::string_view name, std::int64_t number) {
  return fmt::format("  {:<54}{:>14}\n", name, grouped(number));
}

double megabytes(const process_figures& figures) {
  return static_cast<double>(figures.resident_bytes) / (1024 * 1024);
}

}  // namespace

void tally::note_scan_time(std::chrono::steady_clock::duration taken) {
  const std::int64_t us = std::chrono::duration_cast<std::chrono::microseconds>(taken).count();
  std::int64_t slowest = slowest_scan_us;
  while (slowest < us && !slowest_scan_us.compare_exchange_weak(slowest, us)) {
  }
}

void tally::note_unexplained(std::int64_t messages, const std::string& what) {
  unexplained += messages;
  complain(what);
}

void tally::note_fault(const std::string& what) {
  ++faults;
  complain(what);
}

void tally::complain(const std::string& what) {
  constexpr std::size_t most = 20;
  const std::lock_guard lock(mutex_);
  if (complaints_.size() < most) {
    complaints_.push_back(what);
  }
}

std::vector<std::string> tally::complaints() const {
  const std::lock_guard lock(mutex_);
  return complaints_;
}

std::string tally::table() const {
  const auto at = [this](outage kind) { return outages[static_cast<std::size_t>(kind)].load(); };
  return "\nMessages\n" + line("published on topics that sensors watch", published) +
         line("counted", counted) +
         line("lost: published while the broker was down", lost_with_broker) +
         line("lost: published before the subscription was renewed", lost_before_renewal) +
         line("unexplained", unexplained) + "\nBrokers\n" + line("killed", at(outage::killed)) +
         line("stopped", at(outage::stopped)) + line("frozen and thawed", at(outage::frozen)) +
         line("frozen and killed", at(outage::frozen_and_killed)) +
         line("connections lost and renewed", reconnects) + "\nScans\n" + line("ok", scans_ok) +
         line("connection lost", scans_connection_lost) + line("other failures", scans_other) +
         line("the slowest took, in ms", slowest_scan_us / 1000) + "\nSensors for a moment\n" +
         line("created, counting, destroyed", visits) +
         line("cut short by an outage", visits_cut_short) + "\n" +
         line("Faults while the broker stood, sensors not back in time", faults);
}

std::string process_history::table() const {
  const auto row = [this](std::string_view name, auto figure, std::string_view format) {
    return fmt::format("{:<18}", name) +
           fmt::format(fmt::runtime(fmt::format("{0}{0}{0}{0}\n", format)), figure(empty),
                       figure(warm), figure(last), figure(cleaned_up));
  };
  return fmt::format("\n{:<18}{:>12}{:>12}{:>12}{:>14}\n", "Process", "empty", "warm", "at the end",
                     "cleaned up") +
         row(
             "  threads", [](const auto& f) { return f.threads; }, "{:>12}") +
         row(
             "  descriptors", [](const auto& f) { return f.descriptors; }, "{:>12}") +
         row("  resident, MiB", megabytes, "{:>12.1f}");
}

}  // namespace kavu_test::soak
