// What happens at a site while its broker fails.

#include <array>
#include <thread>
#include <utility>

#include "soak/site.hpp"

namespace kavu_test::soak {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

namespace {

constexpr std::int64_t short_size = 20;
constexpr std::int64_t long_size = 120;
/// Larger than all that is published in an outage together.
constexpr std::int64_t marker_size = 100'000;

/// When a client must be back after an outage: it tries again in growing intervals, each time for
/// its time-out, on a machine that has other work to do.
std::chrono::milliseconds longest_return(std::chrono::milliseconds outage_lasted) {
  constexpr std::array delays{1s, 2s, 5s, 10s, 30s, 60s};
  std::chrono::milliseconds tried = 0ms;
  std::chrono::milliseconds next = delays.back();
  for (const auto delay : delays) {
    tried += delay;
    if (tried > outage_lasted) {
      next = delay;
      break;
    }
  }
  return next + 20s;
}

}  // namespace

void site::storm(const std::stop_token& stopping) {
  const auto kind = static_cast<outage>(random_() % outage_kinds);
  const auto lasts = random_part(pace_.outage);
  ++tally_.outages[static_cast<std::size_t>(kind)];
  ++weather_.turn;
  down_ = kind != outage::frozen;
  std::jthread publishing(
      [this, outside = std::make_unique<publisher>(port())](const std::stop_token& ended) mutable {
        while (!ended.stop_requested()) {
          for (auto& each : watches_) {
            if (!each.counter->is_back()) {
              publish_in_storm(outside, each);
            }
          }
          pause(ended, 200ms);
        }
      });
  const auto began = clock::now();
  suffer(kind, stopping, lasts);
  down_ = false;
  ++weather_.turn;
  await_sensors(std::chrono::ceil<std::chrono::milliseconds>(clock::now() - began));
  publishing.request_stop();
  publishing.join();
  flush();
  account(kind);
}

// What is published while the broker is said to be down is short, all else is long. A message that
// the client library refuses for want of a connection is published as well: so it is to whoever
// publishes.
void site::publish_in_storm(std::unique_ptr<publisher>& outside, watch& each) {
  const bool down = down_;
  ++(down ? each.sent_while_down : each.sent_later);
  try {
    if (outside == nullptr) {
      outside = std::make_unique<publisher>(port());
    }
    outside->publish(each.topic, numbered_payload(0, down ? short_size : long_size), 0, false, 2s);
  } catch (const std::runtime_error&) {
    outside.reset();
  }
}

void site::suffer(outage kind, const std::stop_token& stopping, std::chrono::milliseconds lasts) {
  if (kind == outage::frozen || kind == outage::frozen_and_killed) {
    broker_.pause();
    pause(stopping, lasts / 2);
    if (kind == outage::frozen) {
      broker_.resume();
      return;
    }
  }
  kind == outage::stopped ? broker_.stop() : broker_.kill();
  pause(stopping, lasts / 2);
  broker_.restart();
}

void site::await_sensors(std::chrono::milliseconds outage_lasted) {
  const auto deadline = clock::now() + longest_return(outage_lasted);
  for (const auto& sensor : sensors_) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - clock::now());
    if (!eventually([&] { return sensor->is_back(); }, std::max(left, 0ms))) {
      tally_.note_fault(sensor->name() + " is not back " +
                        std::to_string(longest_return(outage_lasted).count()) +
                        " ms after its broker");
    }
  }
}

// A message too large to be missed: when it has been counted, everything before it has been.
void site::flush() {
  publisher outside(port());
  for (const auto& each : watches_) {
    outside.publish(each.topic, numbered_payload(0, marker_size));
  }
  for (const auto& each : watches_) {
    ++tally_.published;
    if (!eventually([&] { return each.counter->bytes() >= each.bytes + marker_size; })) {
      tally_.note_unexplained(1, each.counter->name() + " is back and counts nothing");
    }
  }
}

// Of what was published in the outage, how many of the short and of the long messages were counted
// follows from the two sums.
void site::account(outage kind) {
  for (auto& each : watches_) {
    const auto messages = each.counter->messages() - each.messages - 1;
    const auto bytes = each.counter->bytes() - each.bytes - marker_size;
    const auto later = (bytes - messages * short_size) / (long_size - short_size);
    tally_.published += each.sent_while_down + each.sent_later;
    const auto lost_while_down = std::exchange(each.sent_while_down, 0) - (messages - later);
    const auto lost_later = std::exchange(each.sent_later, 0) - later;
    // A broker that was only frozen loses no connection and no message.
    if (lost_while_down < 0 || lost_later < 0 || (kind == outage::frozen && lost_later > 0)) {
      tally_.note_unexplained(std::abs(lost_while_down) + std::abs(lost_later),
                              each.counter->name() + " misses " + std::to_string(lost_while_down) +
                                  " and " + std::to_string(lost_later) + " messages of an outage");
    } else {
      tally_.lost_with_broker += lost_while_down;
      tally_.lost_before_renewal += lost_later;
    }
    begin_anew(each);
  }
}

}  // namespace kavu_test::soak
