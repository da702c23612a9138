// A notification arrives as it was written, or the host is told why it did not.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/observer.hpp"
#include "helpers/scripted_broker.hpp"
#include "sensors/told.hpp"

namespace kavu_test {
namespace {

using kavu::wire::NotificationResponse;

host_settings to_topic(std::uint16_t port, std::string_view text = "text") {
  auto settings = host_settings::notification(port, "alerts/plant", text);
  settings.envelope().mutable_notification_request()->set_timeout_s(2);
  return settings;
}

TEST(notification, arrives_as_it_was_written) {
  mosquitto_broker broker;
  observer in(broker.port(), "alerts/#");
  module_host host;
  std::string all_bytes;
  for (int byte = 0; byte < 256; ++byte) {
    all_bytes += static_cast<char>(byte);
  }
  std::size_t count = 0;
  for (const std::string& text : {std::string("Pump 3 is \u00fcberhitzt"), all_bytes, std::string(),
                                  std::string(1 << 20, 'x')}) {
    EXPECT_TRUE(host.notification_response(1, to_topic(broker.port(), text)).success());
    ASSERT_TRUE(in.wait_for_messages(++count));
    const auto message = in.messages().back();
    EXPECT_EQ(message.payload, text);
    EXPECT_EQ(message.topic, "alerts/plant");
    EXPECT_EQ(message.qos, 1);
    EXPECT_FALSE(message.retain);
  }
  EXPECT_EQ(in.message_count(), count);
  EXPECT_TRUE(broker.wait_for_clients(0, "notification"));
}

TEST(notification, success_is_told_when_the_broker_has_acknowledged_it) {
  scripted_broker broker;
  const auto held = broker.add({.at = step::puback_sent, .action = fault::hold{}});
  observer in(broker.port(), "alerts/#");
  module_host host;
  std::vector<std::future<NotificationResponse>> responses;
  for (std::int32_t id = 1; id <= 2; ++id) {
    responses.push_back(std::async(std::launch::async, [&host, &broker, id] {
      return host.notification_response(id, to_topic(broker.port()));
    }));
    ASSERT_TRUE(broker.wait_for_fault(held, static_cast<std::size_t>(id)));
  }
  EXPECT_TRUE(in.wait_for_messages(2));
  EXPECT_TRUE(host.inbox().notification_responses(1).empty());
  EXPECT_TRUE(host.inbox().notification_responses(2).empty());
  EXPECT_EQ(broker.count(step::connect_received, "notification*"), 1U);  // one client for both
  broker.release(held);
  for (auto& response : responses) {
    EXPECT_TRUE(response.get().success());
  }
  EXPECT_TRUE(broker.wait_for_clients(0, "notification*"));
  EXPECT_FALSE(host.inbox().logged("Cleaning up."));  // the last line of the client, unheard
}

TEST(notification, a_failure_is_told_with_its_reason) {
  mosquitto_broker strict({.allow_anonymous = false, .users = {{"anna", "right"}}});
  scripted_broker silent;
  silent.add({.at = step::connack_sent, .action = fault::withhold{}});
  scripted_broker dropping;
  dropping.add({.at = step::puback_sent, .action = fault::close{}});
  auto with_wildcard = to_topic(strict.port()).user("anna", "right");
  with_wildcard.envelope().mutable_notification_request()->set_target("alerts/#");
  const struct {
    const char* key;
    const char* words;
    host_settings settings;
  } cases[] = {
      {"error.tcp_connection_timeout", "TCP connect timeout", to_topic(silent.port())},
      {"error.not_authorized", "Check your credentials for MQTT.",
       to_topic(strict.port()).user("anna", "wrong")},
      {"error.client_authentication_activated_but_certificate_is_empty",
       "Client Authentification is activated, but client certificate is empty.",
       to_topic(strict.port()).tls("").set("credentials.tls.client_auth_active", "yes")},
      {"error.invalid_topic", "The provided topic 'alerts/#' is invalid.", with_wildcard},
      {"error.mqttasync_disconnected", "The client is disconnected.", to_topic(dropping.port())},
      {"libkavuhelper.error.setting_invalid", "port",
       to_topic(strict.port()).set("connection.port", "port")},
  };
  module_host host;
  for (const auto& each : cases) {
    SCOPED_TRACE(each.words);
    host.inbox().clear();
    const auto response = host.notification_response(1, each.settings);
    EXPECT_FALSE(response.success());
    EXPECT_EQ(key_of(response.message()), each.key);
    EXPECT_THAT(response.message().text(), testing::HasSubstr(each.words));
    EXPECT_TRUE(host.inbox().logged("send_notification failed: " + response.message().text()));
    EXPECT_FALSE(host.inbox().logged("Cleaning up."));
  }
  EXPECT_TRUE(strict.wait_for_clients(0));
  EXPECT_TRUE(silent.wait_for_clients(0));
  EXPECT_TRUE(dropping.wait_for_clients(0));
}

}  // namespace
}  // namespace kavu_test
