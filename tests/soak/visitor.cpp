#include "soak/visitor.hpp"

#include <stdexcept>

#include "soak/workers.hpp"

namespace kavu_test::soak {

using namespace std::chrono_literals;

visitor::visitor(soak_host& host, tally& figures, const site& visited)
    : host_(host),
      tally_(figures),
      site_(visited),
      thread_([this](const std::stop_token& stopping) { run(stopping); }) {}

void visitor::run(const std::stop_token& stopping) {
  for (std::int32_t visits = 0; !stopping.stop_requested(); ++visits) {
    visit(site_.number() * 1000 + 500 + visits % 100);
    pause(stopping, 100ms);
  }
}

void visitor::visit(std::int32_t id) {
  const int calm = site_.around().calm;
  const std::string topic = "visit/" + std::to_string(id);
  bool well = false;
  std::string why = "does not count";
  try {
    well = live(id, topic, calm);
    if (well && id % 5 == 0 && !ask(id)) {
      well = false;
      why = "fails to check or notify";
    }
  } catch (const std::runtime_error& failure) {
    why = failure.what();
  }
  host_.destroy(id);
  ++tally_.visits;
  if (!well && calm >= 0 && calm == site_.around().calm) {
    tally_.note_fault("visitor " + std::to_string(id) + ": " + why);
  } else if (!well) {
    ++tally_.visits_cut_short;
  }
}

/// Every third has a connection of its own, the others share one with the sensors that stay.
bool visitor::live(std::int32_t id, const std::string& topic, int calm) {
  const auto settings = site_.at_broker(
      host_settings::statistics_sensor(site_.port(), topic + "/#"), id % 3 == 0 ? id : id % 3);
  if (!host_.create(id, settings)) {
    return false;
  }
  return counts_all(id, topic, calm);
}

bool visitor::counts_all(std::int32_t id, const std::string& topic, int calm) {
  constexpr int messages = 10;
  publisher outside(site_.port());
  for (int number = 0; number < messages; ++number) {
    outside.publish(topic + "/" + std::to_string(number), "x", number % 3);
  }
  std::int64_t counted = 0;
  return eventually([&] {
           const auto result = host_.scan(id);
           counted += result ? integer_value(*result, 0).value_or(0) : 0;
           return counted >= messages || site_.around().calm != calm;
         }) &&
         counted == messages;
}

bool visitor::ask(std::int32_t id) {
  auto notification = host_settings::notification(site_.port(), "visit/told", "a visitor is here");
  return host_.check(id, site_.at_broker(host_settings::connect_check(site_.port()), id)) &&
         host_.notify(id, notification);
}

}  // namespace kavu_test::soak
