#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <stop_token>
#include <string>
#include <vector>

#include "helpers/mosquitto_broker.hpp"
#include "helpers/publisher.hpp"
#include "soak/soak_host.hpp"
#include "soak/tally.hpp"
#include "soak/watched_sensor.hpp"

namespace kavu_test::soak {

/// How long, at most, a broker stands between two outages, and how long an outage lasts.
struct pace {
  std::chrono::milliseconds calm;
  std::chrono::milliseconds outage;
};

/// A message of this size with this number.
std::string numbered_payload(std::int64_t number, std::size_t size);

/// A broker, the sensors that watch it, and who publishes there. Calm and outage take turns.
///
/// In the calm all messages are published, acknowledged and scanned while everything stands, from
/// one moment at which all is counted to the next: every sensor must then have counted exactly what
/// was published.
class site {
 public:
  site(soak_host& host, tally& figures, int number, pace how_long);
  ~site();
  site(const site&) = delete;
  site& operator=(const site&) = delete;

  /// Until somebody wants it to stop; then it ends with everything standing and counted.
  void run(const std::stop_token& stopping);

  int number() const { return number_; }
  std::uint16_t port() const { return broker_.port(); }
  const weather& around() const { return weather_; }
  /// Whether the first calm is over.
  bool is_warm() const { return weather_.turn > 0; }
  std::vector<watched_sensor*> sensors() const;

  /// Settings of a sensor at this broker; sensors of the same guest share a connection.
  host_settings at_broker(host_settings settings, int guest) const;

 private:
  /// A statistics sensor, what it must have counted, and the custom sensor on the same topic.
  struct watch {
    watched_sensor* counter;
    watched_sensor* reader;
    std::string topic;
    std::int64_t messages = 0;
    std::int64_t bytes = 0;
    std::int64_t number = 0;    // of the latest message
    std::int64_t reported = 0;  // to the tally
    std::int64_t sent_while_down = 0;
    std::int64_t sent_later = 0;
  };

  void create_sensors(soak_host& host);
  watched_sensor* add(soak_host& host, sensor_kind kind, const host_settings& settings);
  void add_watch(soak_host& host, int index);

  void calm(const std::stop_token& stopping);
  void publish(publisher& outside, int qos);
  void publish_last_words(publisher& outside);
  void settle(const char* when);

  void storm(const std::stop_token& stopping);
  void suffer(outage kind, const std::stop_token& stopping, std::chrono::milliseconds duration);
  void await_sensors(std::chrono::milliseconds outage_lasted);
  void publish_in_storm(std::unique_ptr<publisher>& outside, watch& each);
  void account(outage kind);
  void flush();
  void begin_anew(watch& each);
  std::chrono::milliseconds random_part(std::chrono::milliseconds longest);

  tally& tally_;
  const int number_;
  const pace pace_;
  std::mt19937 random_;
  mosquitto_broker broker_;
  weather weather_;
  std::atomic<bool> down_ = false;
  soak_host& host_;
  std::vector<std::unique_ptr<watched_sensor>> sensors_;
  std::vector<watch> watches_;
};

/// Creates sensors at a site, lets them count, and destroys them, one after the other, whatever the
/// weather; now and then a check and a notification. What happens in the calm must succeed.
void visit_often(const std::stop_token& stopping, soak_host& host, tally& figures,
                 const site& visited);

}  // namespace kavu_test::soak
