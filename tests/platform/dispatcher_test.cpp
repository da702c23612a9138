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
    log("checking " + settings().text);
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
  for (const std::int32_t id : {1, 0, -7, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(id);
    recording_host host;
    scripted_sensor::offer(host, "known", send_empty_result);
    auto& dispatcher = host.dispatcher;
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

TEST(dispatcher, data_of_another_content_are_unreadable) {
  recording_host host;
  scripted_sensor::offer(host, "name", send_empty_result);
  host.dispatcher.register_check_as<silent_check>("name");
  host.dispatcher.register_notification_as<echo_service>("name");
  const auto sensor = wrap(sensor_named("name"));
  const auto check = wrap(host_settings::connect_check(1).kind("name"));
  const auto request = wrap(host_settings::notification(1, "a", "b").kind("name"));
  using unreadable = failures::message_deserialization_failed;
  EXPECT_THROW(host.dispatcher.create_sensor_instance(1, check), unreadable);
  EXPECT_THROW(host.dispatcher.create_sensor_instance(1, request), unreadable);
  EXPECT_THROW(host.dispatcher.execute_check(1, sensor), unreadable);
  EXPECT_THROW(host.dispatcher.execute_meta_scan(1, 1, check), unreadable);
  EXPECT_EQ(host.inbox.message_count(), 0U);
}

TEST(dispatcher, a_check_gets_exactly_one_result) {
  struct {
    const char* host;
    bool success;
    bool throws;
  } const cases[] = {{"good", true, false},
                     {"bad", false, false},
                     {"throws", false, true},
                     {"throws later", false, true}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.host);
    recording_host host;
    host.dispatcher.register_check_as<silent_check>("check");
    const auto data = wrap(host_settings::connect_check(1).kind("check").set("host", each.host));
    if (each.throws) {
      EXPECT_THROW(host.dispatcher.execute_check(-3, data), std::runtime_error);
    } else {
      EXPECT_EQ(host.dispatcher.execute_check(-3, data), 0);
    }
    const auto results = host.inbox.check_results(-3);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].success(), each.success);
    EXPECT_FALSE(results[0].has_message());
  }
  recording_host host;
  EXPECT_EQ(host.dispatcher.execute_check(1, wrap(host_settings::connect_check(1))), 4);
}

TEST(dispatcher, a_check_that_cannot_be_built_says_why) {
  recording_host host;
  host.dispatcher.register_check_as<silent_check>("check");
  const auto data = wrap(host_settings::connect_check(1).kind("check").remove("host"));
  EXPECT_THROW(host.dispatcher.execute_check(5, data), failures::setting_not_available);
  const auto results = host.inbox.check_results(5);
  ASSERT_EQ(results.size(), 1U);
  EXPECT_FALSE(results[0].success());
  EXPECT_EQ(results[0].message().key(), "#:libkavuhelper.error.setting_not_available[host]");
}

TEST(dispatcher, notifications_are_answered_with_the_id_echoed) {
  recording_host host;
  host.dispatcher.register_notification_as<echo_service>("echo");
  echo_service::built = 0;
  const auto request = [](std::string_view text) {
    return wrap(host_settings::notification(1, "topic", text).kind("echo"));
  };
  EXPECT_EQ(host.dispatcher.execute_meta_scan(9, 0, request("x")), 7);
  EXPECT_EQ(host.dispatcher.execute_meta_scan(9, 2, request("x")), 7);
  EXPECT_EQ(host.dispatcher.execute_meta_scan(9, 1, wrap(host_settings::notification(1, "", ""))),
            4);
  EXPECT_EQ(host.inbox.message_count(), 0U);
  EXPECT_EQ(echo_service::built, 0);

  EXPECT_EQ(host.dispatcher.execute_meta_scan(-9, 1, request("text")), 0);
  EXPECT_EQ(host.dispatcher.execute_meta_scan(-8, 1, request("")), 0);
  EXPECT_EQ(echo_service::built, 1);
  const auto sent = host.inbox.notification_responses(-9);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_TRUE(sent[0].success());
  EXPECT_FALSE(sent[0].has_message());
  const auto failed = host.inbox.notification_responses(-8);
  ASSERT_EQ(failed.size(), 1U);
  EXPECT_FALSE(failed[0].success());
  EXPECT_EQ(failed[0].message().text(), "The setting \"text\" was not available.");
  EXPECT_TRUE(host.inbox.logged("topic <- text within 10"));
  EXPECT_TRUE(host.inbox.logged("echo: 1 delivered, 1 failed"));
}

}  // namespace
}  // namespace kavu_test
