#include "soak/site.hpp"

#include <stdexcept>
#include <utility>

namespace kavu_test::soak {

using namespace std::chrono_literals;
using clock = std::chrono::steady_clock;

namespace {

constexpr int counters = 12;
constexpr int readers = 4;
constexpr int roundtrips = 2;
constexpr int guests = 3;  // connections that the sensors of a site share

}  // namespace

std::string numbered_payload(std::int64_t number, std::size_t size) {
  std::string text = "{\"n\":" + std::to_string(number) + "}";
  text.append(size > text.size() ? size - text.size() : 0, ' ');
  return text;
}

site::site(soak_host& host, tally& figures, int number, pace how_long)
    : tally_(figures),
      number_(number),
      pace_(how_long),
      random_(static_cast<unsigned>(number)),
      broker_({.log_packets = false}),
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

void site::begin_anew(watch& each) {
  each.messages = each.counter->messages();
  each.bytes = each.counter->bytes();
  tally_.counted += each.messages - std::exchange(each.reported, each.messages);
}

}  // namespace kavu_test::soak
