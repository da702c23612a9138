#include "probe/demo/demo_command.hpp"

#include <fmt/format.h>

#include "probe/channel_settings.hpp"
#include "probe/commands.hpp"
#include "probe/demo/demo_sensors.hpp"
#include "probe/demo/demo_view.hpp"
#include "probe/demo/plant.hpp"
#include "probe/demo/private_broker.hpp"
#include "probe/failure.hpp"
#include "probe/hosted_sensor.hpp"
#include "probe/steady_schedule.hpp"

namespace kavu_probe {
namespace {

using std::chrono::steady_clock;

// The time for two threads to read what the broker has handed out already.
constexpr std::chrono::milliseconds reading_time{50};

struct demo_sensor {
  hosted_sensor sensor;
  bool counts_plant;
};

common_options point_to(const private_broker& broker, const common_options& given) {
  common_options options = given;
  options.connection = connection_options();
  options.connection.port = broker.port();
  return options;
}

/// Where one device falls silent and comes back: heard in the first interval, silent through the
/// third.
silence make_silence(std::chrono::nanoseconds interval) {
  return {interval * 4 / 3, interval * 2, interval * 6};
}

class demo {
 public:
  demo(const probe_context& outer, const demo_options& options, std::stop_token stop)
      : options_(options),
        stop_(std::move(stop)),
        broker_(stop_),
        plant_(broker_.port(), make_plant_devices(make_silence(options.interval))),
        common_(point_to(broker_, outer.options)),
        context_{outer.session, outer.observer, outer.module,   outer.texts,
                 outer.output,  common_,        no_credentials_},
        view_(common_.json, !common_.log) {
    context_.observer.set_tick([this] { view_.tick(); });
  }
  demo(const demo&) = delete;
  demo& operator=(const demo&) = delete;
  ~demo() { context_.observer.set_tick(nullptr); }

  int run() {
    view_.say(
        fmt::format("A private broker (mosquitto) on 127.0.0.1:{}. Behind it a simulated plant: {} "
                    "devices\npublish on {}, an energy meter and a cooling pump on {}. One gateway "
                    "and the pump\nfall silent for a while.\n",
                    broker_.port(), plant_.counted_devices(), plant::filter, "site/#"));
    check_connection();
    create_sensors();
    notify();
    scan_all();
    for (demo_sensor& item : sensors_) {
      item.sensor.destroy();
    }
    view_.say(all_well_ ? "\nAll went well; broker and plant are being stopped."
                        : "\nNot all went well; broker and plant are being stopped.");
    return all_well_ ? exit_code::well : exit_code::answer_is_error;
  }

 private:
  void check_connection() {
    for (const check_kind& check : context_.module.checks) {
      const check_report report = run_check(context_, check.name);
      all_well_ = all_well_ && report.ok;
      if (common_.json || !report.ok) {
        context_.output.show(report);
      } else {
        view_.say(fmt::format("Connection check: ok, the broker answered after {} ms.",
                              report.elapsed_ms));
      }
    }
  }

  /// The notification has to be seen by somebody else than its sender.
  void notify() {
    notify_options notification;
    notification.topic = plant::notification_topic;
    notification.message = "Tank 3 is nearly full";
    const auto sent = steady_clock::now();
    notification_report report = send_notification(context_, notification);
    std::optional<steady_clock::time_point> arrival;
    if (report.ok) {
      arrival = plant_.await_notification(notification.message, stop_);
      if (!arrival) {
        const std::string text = "The notification has not arrived.";
        report.ok = false;
        report.message = message_text{text, text};
      }
    }
    all_well_ = all_well_ && report.ok;
    if (common_.json || !report.ok) {
      context_.output.show(report);
    } else {
      view_.say(fmt::format(
          "Notification: ok, \"{}\" on {} was seen to arrive {} ms after it was ordered.",
          notification.message, notification.topic,
          std::chrono::duration_cast<std::chrono::milliseconds>(*arrival - sent).count()));
    }
  }

  void create_sensors() {
    for (const demo_sensor_plan& plan : make_demo_sensor_plans()) {
      if (plan.counts_plant) {
        // The two counts of the same messages begin while there are none.
        plant_.hold();
        add_sensor(plan);
        plant_.take_counts();
        plant_.go_on();
      } else {
        add_sensor(plan);
      }
    }
  }

  void add_sensor(const demo_sensor_plan& plan) {
    const auto id = static_cast<std::int32_t>(sensors_.size()) + 1;
    settings_builder settings =
        make_sensor_settings(context_, plan.kind, id, options_.interval, common_.log);
    for (const named_value& item : plan.settings) {
      settings.set(item.name, item.value);
    }
    set_channels(settings, plan.channels);
    settings.check();
    table_entry entry;
    entry.title = context_.output.sensor_name(plan.kind) + ", " + plan.subject;
    entry.counting_time =
        fmt::format("in {:.3g} s", std::chrono::duration<double>(options_.interval).count());
    entries_.push_back(std::move(entry));
    sensors_.push_back(
        {hosted_sensor(context_.session, context_.texts, plan.kind, id, std::move(settings)),
         plan.counts_plant});
    take(sensors_.size() - 1, sensors_.back().sensor.create());
  }

  void scan_all() {
    steady_schedule schedule(steady_clock::now(), options_.interval);
    for (std::int64_t number = 1; number <= options_.scans; ++number) {
      const auto now = steady_clock::now();
      const auto due = schedule.next(now);
      view_.wait_for(fmt::format("scan {} of {}", number, options_.scans), now, due);
      context_.session.wait_until(due);
      view_.wait_for("the messages of the round trip", due, due + std::chrono::seconds(1));
      for (std::size_t index = 0; index < sensors_.size(); ++index) {
        scan(index);
      }
      view_.end_waiting();
      view_.show_scan(fmt::format("Scan {} of {}", number, options_.scans), entries_);
    }
  }

  void scan(std::size_t index) {
    demo_sensor& item = sensors_[index];
    if (!item.sensor.created()) {
      if (!item.sensor.hopeless()) {
        take(index, item.sensor.create());
      }
      return;
    }
    if (item.counts_plant) {
      plant_.hold();
      context_.session.wait_until(steady_clock::now() + reading_time);
    }
    const std::vector<scan_report> reports = item.sensor.scan();
    if (item.counts_plant) {
      entries_[index].opinions = count_plant();
      plant_.go_on();
    }
    take(index, reports);
  }

  std::vector<second_opinion> count_plant() {
    const plant_counts counts = plant_.take_counts();
    const char* const who = "as the plant itself counts";
    return {{"channel.count_messages_received", who, std::to_string(counts.messages)},
            {"channel.bytes_payload_received", who, std::to_string(counts.payload_bytes)},
            {"channel.active_topics", who, std::to_string(counts.topics)}};
  }

  void take(std::size_t index, const std::vector<scan_report>& reports) {
    for (const scan_report& report : reports) {
      all_well_ = all_well_ && report.ok;
      if (common_.json) {
        context_.output.show(report);
      }
      entries_[index].report = report;
      entries_[index].scanned = steady_clock::now();
    }
  }

  const demo_options& options_;
  std::stop_token stop_;
  private_broker broker_;
  plant plant_;
  common_options common_;
  connection_credentials no_credentials_;
  probe_context context_;
  demo_view view_;
  std::vector<demo_sensor> sensors_;
  std::vector<table_entry> entries_;
  bool all_well_ = true;
};

}  // namespace

int run_demo_command(const probe_context& context, const demo_options& options,
                     const std::stop_token& stop) {
  return demo(context, options, stop).run();
}

}  // namespace kavu_probe
