// What a delivered message costs: the processor time of the module, beside that of a subscriber
// on the same library whose callback does nothing but free the message.
//
// Broker, publisher and subscriber are processes of their own. The subscribers take turns, each
// turn with a new process, so that whatever else the machine does meets all of them alike. Fails
// when the module needs more than it may.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <chrono>
#include <ctime>
#include <stdexcept>
#include <stop_token>
#include <thread>
#include <vector>

#include "cost_table.hpp"
#include "flood.hpp"
#include "probe/demo/private_broker.hpp"
#include "role_process.hpp"
#include "subscriber.hpp"

namespace kavu_bench {
namespace {

using namespace std::chrono_literals;

/// A broker drops messages for who does not keep up, unless told not to.
constexpr const char* no_queue_limit = "max_queued_messages 0\n";
constexpr std::int64_t topics = flood_topics;
constexpr std::int64_t warm_up_rounds = 10;
constexpr auto look_again = 100ms;
constexpr auto longest_arrival = 60s;

struct options {
  int turns = 7;
  std::int64_t messages = 300'000;
  double limit = 1.25;

  std::int64_t rounds() const { return messages / topics; }
};

struct contender {
  cost measured;  // of one message
  std::unique_ptr<subscriber> (*make)(std::uint16_t port);
};

std::int64_t processor_nanoseconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

void await_arrival(subscriber& waiting, std::int64_t messages) {
  const auto deadline = std::chrono::steady_clock::now() + longest_arrival;
  while (!waiting.has_received(messages)) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("Not all messages have arrived.");
    }
    std::this_thread::sleep_for(look_again);
  }
}

/// Told twice, after the warm-up and after the flood, how many messages have been published in all,
/// answers with the processor time since the last answer when they have arrived; and at last with
/// the number of those counted.
void subscribe_and_measure(const contender& contestant, std::uint16_t port, line& parent) {
  const auto subscribed = contestant.make(port);
  auto last = processor_nanoseconds();
  parent.send(0);
  for (int phase = 0; phase < 2; ++phase) {
    await_arrival(*subscribed, parent.receive());
    const auto now = processor_nanoseconds();
    parent.send(now - last);
    last = now;
  }
  parent.send(subscribed->received());
}

/// Told a number of rounds, answers when they have been published; 0 ends it.
void publish_when_asked(std::uint16_t port, line& parent) {
  flood publisher(port);
  while (const auto rounds = parent.receive()) {
    publisher.publish_to_all(static_cast<std::size_t>(rounds));
    parent.send(0);
  }
}

double take_turn(const contender& contestant, std::uint16_t port, std::int64_t rounds) {
  role_process publishing([port](line& parent) { publish_when_asked(port, parent); });
  role_process subscribing([&](line& parent) { subscribe_and_measure(contestant, port, parent); });
  subscribing.talk().receive();
  std::int64_t published = 0;
  std::int64_t nanoseconds = 0;
  for (const auto more : {warm_up_rounds, rounds}) {
    publishing.talk().send(more);
    publishing.talk().receive();
    published += more * topics;
    subscribing.talk().send(published);
    nanoseconds = subscribing.talk().receive();
  }
  publishing.talk().send(0);
  const auto counted = subscribing.talk().receive();
  if (counted != published) {
    throw std::runtime_error(
        fmt::format("{}: {} of {} messages counted", contestant.measured.name, counted, published));
  }
  return static_cast<double>(nanoseconds) / static_cast<double>(rounds * topics);
}

int run(const options& wanted) {
  const kavu_probe::private_broker broker(std::stop_token{}, no_queue_limit);
  std::vector<contender> contenders{
      {{"empty subscriber", {}}, make_empty_subscriber},
      {{"module, one sensor for all topics", {}}, make_module_subscriber},
      {{"module, 1,000 sensors, a topic each", {}}, make_crowded_module_subscriber},
      {{"empty subscriber, library's trace off", {}}, make_untraced_empty_subscriber},
  };
  for (int turn = 0; turn < wanted.turns; ++turn) {
    // Who comes after whom should not matter, so it changes.
    for (std::size_t place = 0; place < contenders.size(); ++place) {
      auto& next = contenders[(place + static_cast<std::size_t>(turn)) % contenders.size()];
      next.measured.nanoseconds.push_back(take_turn(next, broker.port(), wanted.rounds()));
    }
  }
  fmt::print("CPU time per message of {} bytes, {} topics, full rate, {} turns of {} messages\n\n",
             flood_payload_bytes, flood_topics, wanted.turns, wanted.rounds() * topics);
  const auto& empty = contenders[0].measured;
  const auto& one_sensor = contenders[1].measured;
  print_table({{empty},
               {one_sensor, empty.name},
               {contenders[2].measured, empty.name},
               {contenders[3].measured, empty.name}});
  const double ratio = one_sensor.median() / empty.median();
  const bool kept = ratio <= wanted.limit;
  fmt::print("\nmodule with one sensor / empty subscriber: {:.3f}, {} {}\n", ratio,
             kept ? "within" : "ABOVE the limit of", wanted.limit);
  return kept ? 0 : 1;
}

}  // namespace
}  // namespace kavu_bench

int main(int argc, char** argv) {
  kavu_bench::options wanted;
  CLI::App program{"What a delivered message costs the module, and an empty subscriber"};
  program.add_option("--turns", wanted.turns, "Turns of each")->check(CLI::Range(1, 1000));
  program.add_option("--messages", wanted.messages, "Messages of a turn, rounded to thousands")
      ->check(CLI::Range(1'000, 10'000'000));
  program.add_option("--limit", wanted.limit, "What the module may cost, as a ratio");
  CLI11_PARSE(program, argc, argv);
  try {
    return kavu_bench::run(wanted);
  } catch (const std::exception& failure) {
    fmt::print(stderr, "message_cost: {}\n", failure.what());
    return 1;
  }
}
