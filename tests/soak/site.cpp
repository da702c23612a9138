#include "soak/site.hpp"

#include <array>
#include <stdexcept>
#include <utility>

#include "soak/workers.hpp"

namespace kavu_test::soak {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

namespace {

constexpr int counters = 12;
constexpr int readers = 4;
constexpr int roundtrips = 2;
constexpr int guests = 3;  // connections that the sensors of a site share
/// Larger than all that is published in an outage together.
constexpr std::int64_t marker_size = 100'000;

mosquitto_options quiet_broker() {
  mosquitto_options options;
  options.log_packets = false;
  return options;
}

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

site::site(soak_host& host, tally& figures, int number, pace how_long)
    : tally_(figures),
      number_(number),
      pace_(how_long),
      random_(static_cast<unsigned>(number)),
      broker_(quiet_broker()),
      host_(host) {
  create_sensors(host);
}

site::~site() {
  for (const auto& sensor : sensors_) {
    host_.destroy(sensor->id());
  }
}

host_settings site::at_broker(host_settings settings, int guest) const {
  return settings.set("timeout", "3").user("guest" + std::to_string(guest), "secret");
}

watched_sensor* site::add(soak_host& host, sensor_kind kind, const host_settings& settings) {
  const auto id = static_cast<std::int32_t>(number_ * 1000 + static_cast<int>(sensors_.size()));
  const std::chrono::milliseconds interval(200 + 130 * (sensors_.size() % 12));
  if (!host.create(id, settings)) {
    throw std::runtime_error("a sensor could not be created");
  }
  sensors_.push_back(std::make_unique<watched_sensor>(host, tally_, weather_, id, kind, interval));
  return sensors_.back().get();
}

void site::create_sensors(soak_host& host) {
  for (int index = 0; index < counters; ++index) {
    add_watch(host, index);
  }
  for (int index = 0; index < roundtrips; ++index) {
    add(host, sensor_kind::roundtrip,
        at_broker(host_settings::roundtrip_sensor(port()), index % guests));
  }
  // Tells when its connection is lost and renewed.
  for (int guest = 0; guest < guests; ++guest) {
    add(host, sensor_kind::statistics,
        at_broker(host_settings::statistics_sensor(port(), "nobody/" + std::to_string(guest)),
                  guest)
            .set("logging", "enabled"));
  }
}

void site::add_watch(soak_host& host, int index) {
  const std::string base = "soak/" + std::to_string(index);
  const std::string topic = base + "/value";
  const std::string filters[] = {topic, base + "/+", base + "/#"};
  watch added{.counter = add(host, sensor_kind::statistics,
                             at_broker(host_settings::statistics_sensor(port(), filters[index % 3]),
                                       index % guests)),
              .reader = nullptr,
              .topic = topic};
  if (index < readers) {
    added.reader = add(host, sensor_kind::custom,
                       at_broker(host_settings::custom_sensor(port(), topic), index % guests)
                           .channel(1, "$.n", "absolute_integer"));
  }
  watches_.push_back(added);
}

std::vector<watched_sensor*> site::sensors() const {
  std::vector<watched_sensor*> all;
  for (const auto& sensor : sensors_) {
    all.push_back(sensor.get());
  }
  return all;
}

std::chrono::milliseconds site::random_part(std::chrono::milliseconds longest) {
  std::uniform_int_distribution<std::int64_t> part(longest.count() / 8, longest.count());
  return std::chrono::milliseconds(part(random_));
}

void site::run(const std::stop_token& stopping) {
  try {
    await_sensors(0ms);
    for (;;) {
      calm(stopping);
      if (stopping.stop_requested()) {
        return;
      }
      storm(stopping);
    }
  } catch (const std::exception& failure) {
    weather_.calm = -1;
    tally_.note_fault("site " + std::to_string(number_) + ": " + failure.what());
  }
}

void site::calm(const std::stop_token& stopping) {
  publisher outside(port());
  weather_.calm = weather_.turn.load();
  const auto end = clock::now() + random_part(pace_.calm);
  for (int round = 0; clock::now() < end && !stopping.stop_requested(); ++round) {
    publish(outside, round % 3);
    pause(stopping, 20ms);
  }
  settle("in the calm");
  publish_last_words(outside);
  settle("after the last words");
  weather_.calm = -1;
}

// Each message is acknowledged before the next on its topic is sent with another quality of
// service, which could overtake it; and a broker takes only 20 of the highest at a time.
void site::publish(publisher& outside, int qos) {
  std::vector<outgoing_message> messages;
  for (auto& each : watches_) {
    const auto size = static_cast<std::size_t>(30 + each.number % 200);
    messages.push_back({each.topic, numbered_payload(++each.number, size), qos});
    each.messages += 1;
    each.bytes += static_cast<std::int64_t>(size);
  }
  outside.publish_many(messages);
  tally_.published += static_cast<std::int64_t>(messages.size());
}

void site::settle(const char* when) {
  for (auto& each : watches_) {
    const auto is_exact = [&] {
      return each.counter->messages() == each.messages && each.counter->bytes() == each.bytes;
    };
    const bool exact = eventually(is_exact);
    const auto missing = each.messages - each.counter->messages();
    if (!exact) {
      tally_.note_unexplained(
          missing == 0 ? 1 : std::abs(missing),
          each.counter->name() + " misses " + std::to_string(missing) + " messages " + when);
    }
    begin_anew(each);
  }
}

// What a custom sensor shows must be the last of what was published.
void site::publish_last_words(publisher& outside) {
  publish(outside, 1);
  for (const auto& each : watches_) {
    if (each.reader && !eventually([&] { return each.reader->value() == each.number; })) {
      tally_.note_fault(each.reader->name() + " shows message " +
                        std::to_string(each.reader->value()) + " instead of " +
                        std::to_string(each.number));
    }
  }
}

void site::storm(const std::stop_token& stopping) {
  const auto kind = static_cast<outage>(random_() % outage_kinds);
  const auto lasts = random_part(pace_.outage);
  ++tally_.outages[static_cast<std::size_t>(kind)];
  ++weather_.turn;
  std::vector<std::string> topics;
  for (const auto& each : watches_) {
    topics.push_back(each.topic);
  }
  down_ = kind != outage::frozen;
  storm_publisher storm(port(), topics, down_,
                        [this](std::size_t topic) { return !watches_[topic].counter->is_back(); });
  const auto began = clock::now();
  suffer(kind, stopping, lasts);
  down_ = false;
  ++weather_.turn;
  await_sensors(std::chrono::ceil<std::chrono::milliseconds>(clock::now() - began));
  storm.stop();
  flush();
  account(storm, kind);
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
void site::account(const storm_publisher& storm, outage kind) {
  for (std::size_t index = 0; index < watches_.size(); ++index) {
    auto& each = watches_[index];
    const auto messages = each.counter->messages() - each.messages - 1;
    const auto bytes = each.counter->bytes() - each.bytes - marker_size;
    const auto later = (bytes - messages * storm_publisher::short_size) /
                       (storm_publisher::long_size - storm_publisher::short_size);
    const auto lost_while_down = storm.sent_while_down(index) - (messages - later);
    const auto lost_later = storm.sent_later(index) - later;
    tally_.published += storm.sent_while_down(index) + storm.sent_later(index);
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

void site::begin_anew(watch& each) {
  each.messages = each.counter->messages();
  each.bytes = each.counter->bytes();
  tally_.counted += each.messages - std::exchange(each.reported, each.messages);
}

}  // namespace kavu_test::soak
