#include <stdexcept>

#include "soak/site.hpp"

namespace kavu_test::soak {

using namespace std::chrono_literals;

namespace {

constexpr int messages = 10;

/// One sensor that comes, counts and goes.
class visit {
 public:
  visit(soak_host& host, const site& visited, std::int32_t id)
      : host_(host), site_(visited), id_(id), topic_("visit/" + std::to_string(id)) {}

  /// Every third has a connection of its own, the others share one with the sensors that stay.
  bool goes_well() {
    const auto settings = host_settings::statistics_sensor(site_.port(), topic_ + "/#");
    return host_.create(id_, site_.at_broker(settings, id_ % 3 == 0 ? id_ : id_ % 3)) &&
           counts_all() && (id_ % 5 != 0 || can_ask());
  }

 private:
  bool counts_all() {
    const int calm = site_.around().calm;
    publisher outside(site_.port());
    for (int number = 0; number < messages; ++number) {
      outside.publish(topic_ + "/" + std::to_string(number), "x", number % 3);
    }
    std::int64_t counted = 0;
    eventually([&] {
      const auto result = host_.scan(id_);
      counted += result ? integer_value(*result, 0).value_or(0) : 0;
      return counted >= messages || site_.around().calm != calm;
    });
    return counted == messages;
  }
  bool can_ask() {
    return host_.check(id_, site_.at_broker(host_settings::connect_check(site_.port()), id_)) &&
           host_.notify(id_, host_settings::notification(site_.port(), "visit/told", "here"));
  }

  soak_host& host_;
  const site& site_;
  const std::int32_t id_;
  const std::string topic_;
};

}  // namespace

void visit_often(const std::stop_token& stopping, soak_host& host, tally& figures,
                 const site& visited) {
  for (std::int32_t visits = 0; !stopping.stop_requested(); ++visits) {
    const std::int32_t id = visited.number() * 1000 + 500 + visits % 100;
    const int calm = visited.around().calm;
    bool well = false;
    std::string why = "does not count, check or notify";
    try {
      well = visit(host, visited, id).goes_well();
    } catch (const std::runtime_error& failure) {
      why = failure.what();
    }
    host.destroy(id);
    ++figures.visits;
    if (!well && calm >= 0 && calm == visited.around().calm) {
      figures.note_fault("visitor " + std::to_string(id) + ": " + why);
    } else if (!well) {
      ++figures.visits_cut_short;
    }
    pause(stopping, 100ms);
  }
}

}  // namespace kavu_test::soak
