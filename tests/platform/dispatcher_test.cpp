#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>

#include "kavuhelper/utils/exceptions.hpp"
#include "platform/recording_host.hpp"

namespace kavu_test {
namespace {

namespace failures = lib::utils::exceptions;

void send_empty_result(scripted_sensor& sensor) {
  sensor.send(sensor.make_result());
}

class silent_check : public lib::checks::check_base<host_name> {
 public:
  using check_base::check_base;
  void work() override {
    lib::responses::check_result result(id());
    result.set_success(settings().text == "good");
    if (settings().text == "throws") {
      throw std::runtime_error("spoiled");
    }
    send_result(result);
    if (settings().text == "throws later") {
      throw std::runtime_error("spoiled");
    }
  }
};

class echo_service : public lib::notifications::service_interface {
 public:
  static inline int built = 0;

  echo_service(std::shared_ptr<lib::module::service_container>,
               std::shared_ptr<brunvik::monitoring_modules::liblog::log_interface> logger)
      : logger_(std::move(logger)) {
    ++built;
  }
  void send(const lib::notifications::request& notification) override {
    logger_->log(7, notification.get_target() + " <- " + notification.get_message() + " within " +
                        std::to_string(notification.get_timeout_s()));
    if (notification.get_message().empty()) {
      throw failures::setting_not_available("text");
    }
  }

 private:
  std::shared_ptr<brunvik::monitoring_modules::liblog::log_interface> logger_;
};

TEST(dispatcher, answers_for_every_state_of_an_id) {
  recording_host host;
  scripted_sensor::offer(host, "known", send_empty_result);
  auto& dispatcher = host.dispatcher;
  const std::int32_t id = INT_MIN;
  EXPECT_EQ(dispatcher.execute_sensor_scan(id), 6);
  EXPECT_EQ(dispatcher.destroy_sensor_instance(id), 6);
  EXPECT_EQ(dispatcher.create_sensor_instance(id, wrap(sensor_named("unknown"))), 4);
  EXPECT_EQ(dispatcher.create_sensor_instance(id, wrap(sensor_named("known"))), 0);
  EXPECT_EQ(dispatcher.create_sensor_instance(id, wrap(sensor_named("known"))), 5);
  EXPECT_EQ(host.inbox.message_count(), 0U);
  EXPECT_EQ(dispatcher.execute_sensor_scan(id), 0);
  EXPECT_EQ(host.inbox.scan_results(id).size(), 1U);
  EXPECT_EQ(dispatcher.destroy_sensor_instance(id), 0);
  EXPECT_EQ(dispatcher.destroy_sensor_instance(id), 6);
  EXPECT_EQ(dispatcher.create_sensor_instance(id, wrap(sensor_named("known"))), 0);
}

TEST(dispatcher, the_first_of_two_registrations_stays) {
  recording_host host;
  scripted_sensor::offer(host, "twice", send_empty_result);
  scripted_sensor::offer(host, "twice", [](scripted_sensor&) { FAIL() << "the second one"; });
  host.dispatcher.create_sensor_instance(1, wrap(sensor_named("twice")));
  EXPECT_EQ(host.dispatcher.execute_sensor_scan(1), 0);

  host.dispatcher.register_notification_as<echo_service>("echo");
  EXPECT_THROW(host.dispatcher.register_notification_as<echo_service>("echo"),
               failures::notification_already_registered);
}

TEST(dispatcher, a_failed_creation_is_told_once_whoever_tells_it) {
  const failures::channel_not_defined failure(12);
  const struct {
    scripted_sensor::step build;
    const char* key;
    const char* text;
    bool without_host = false;
  } cases[] = {
      {[&](scripted_sensor& sensor) {
         sensor.report_creation_failure(failure);
         throw failure;
       },
       "#:libkavuhelper.error.channel_not_defined[12]", "Channel with ID 12 is not defined."},
      {[&](scripted_sensor&) { throw failure; }, "#:libkavuhelper.error.channel_not_defined[12]",
       "Channel with ID 12 is not defined."},
      {[](scripted_sensor&) { throw std::runtime_error("plain \xff"); }, "plain \xff",
       "plain \xff"},
      {[](scripted_sensor&) { throw 5; }, "A failure without a text occurred.",
       "A failure without a text occurred."},
      {{},
       "#:libkavuhelper.error.setting_not_available[host]",
       "The setting \"host\" was not available.",
       true},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.text);
    recording_host host;
    scripted_sensor::offer(host, "failing", send_empty_result, each.build);
    auto settings = sensor_named("failing").set("logging", "enabled");
    if (each.without_host) {
      settings.remove("host");
    }
    EXPECT_ANY_THROW(host.dispatcher.create_sensor_instance(4, wrap(settings)));
    const auto results = host.inbox.scan_results(4);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].response_code(), kavu::wire::RESPONSE_CODE_ERROR);
    EXPECT_EQ(results[0].error_code(), 0);
    EXPECT_EQ(results[0].message().key(), each.key);
    EXPECT_EQ(results[0].message().text(), each.text);
    EXPECT_EQ(host.dispatcher.execute_sensor_scan(4), 6);
    scripted_sensor::offer(host, "good", send_empty_result);
    EXPECT_EQ(host.dispatcher.create_sensor_instance(4, wrap(sensor_named("good"))), 0);
  }
}

TEST(dispatcher, a_check_gets_exactly_one_result) {
  const struct {
    std::string host;
    bool throws;
    const char* key = "";
  } cases[] = {{"good", false},
               {"bad", false},
               {"throws", true},
               {"throws later", true},
               {"none", true, "#:libkavuhelper.error.setting_not_available[host]"}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.host);
    recording_host host;
    host.dispatcher.register_check_as<silent_check>("check");
    auto settings = host_settings::connect_check(1).kind("check").set("host", each.host);
    if (each.host == "none") {
      settings.remove("host");
    }
    if (each.throws) {
      EXPECT_ANY_THROW(host.dispatcher.execute_check(-3, wrap(settings)));
    } else {
      EXPECT_EQ(host.dispatcher.execute_check(-3, wrap(settings)), 0);
    }
    const auto results = host.inbox.check_results(-3);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].success(), each.host == "good");
    EXPECT_EQ(results[0].message().key(), each.key);
  }
}

TEST(dispatcher, notifications_are_answered_with_the_id_echoed) {
  recording_host host;
  host.dispatcher.register_notification_as<echo_service>("echo");
  echo_service::built = 0;
  for (const auto* text : {"text", ""}) {
    const auto request = wrap(host_settings::notification(1, "topic", text).kind("echo"));
    EXPECT_EQ(host.dispatcher.execute_meta_scan(-9, 1, request), 0);
    EXPECT_EQ(host.dispatcher.execute_meta_scan(-9, 2, request), 7);
  }
  EXPECT_EQ(echo_service::built, 1);
  const auto sent = host.inbox.notification_responses(-9);
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_TRUE(sent[0].success());
  EXPECT_FALSE(sent[0].has_message());
  EXPECT_FALSE(sent[1].success());
  EXPECT_EQ(sent[1].message().text(), "The setting \"text\" was not available.");
  EXPECT_TRUE(host.inbox.logged("topic <- text within 10"));
  EXPECT_TRUE(host.inbox.logged("echo: 1 delivered, 1 failed"));
}

}  // namespace
}  // namespace kavu_test
