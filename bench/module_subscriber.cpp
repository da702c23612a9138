#include <array>

#include "flood.hpp"
#include "hosted_module.hpp"
#include "subscriber.hpp"

namespace kavu_bench {
namespace {

constexpr auto topics = static_cast<std::int64_t>(flood_topics);

/// One sensor. A scan takes what has been counted, so the counts are added up here.
class module_subscriber final : public subscriber {
 public:
  explicit module_subscriber(std::uint16_t port) {
    module_.create_statistics_sensor(id, port, flood_filter);
  }

  bool has_received(std::int64_t messages) override { return received() >= messages; }
  std::int64_t received() override { return received_ += module_.scan_statistics(id).messages; }

 private:
  static constexpr std::int32_t id = 1;

  hosted_module module_;
  std::int64_t received_ = 0;
};

/// A sensor for each topic. The flood ends with the last topic, so looking there is enough to see
/// whether all have come.
class crowded_module_subscriber final : public subscriber {
 public:
  explicit crowded_module_subscriber(std::uint16_t port) {
    for (std::size_t topic = 0; topic < flood_topics; ++topic) {
      module_.create_statistics_sensor(static_cast<std::int32_t>(topic), port, flood_topic(topic));
    }
  }

  bool has_received(std::int64_t messages) override {
    return look_at(flood_topics - 1) * topics >= messages;
  }
  std::int64_t received() override {
    std::int64_t all = 0;
    for (std::size_t topic = 0; topic < flood_topics; ++topic) {
      all += look_at(topic);
    }
    return all;
  }

 private:
  std::int64_t look_at(std::size_t topic) {
    const auto id = static_cast<std::int32_t>(topic);
    return received_[topic] += module_.scan_statistics(id).messages;
  }

  hosted_module module_;
  std::array<std::int64_t, flood_topics> received_{};
};

}  // namespace

std::unique_ptr<subscriber> make_module_subscriber(std::uint16_t port) {
  return std::make_unique<module_subscriber>(port);
}

std::unique_ptr<subscriber> make_crowded_module_subscriber(std::uint16_t port) {
  return std::make_unique<crowded_module_subscriber>(port);
}

}  // namespace kavu_bench
