#include "helpers/mosquitto_broker.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "helpers/certificates.hpp"
#include "helpers/loopback_port.hpp"
#include "helpers/observer.hpp"
#include "helpers/publisher.hpp"

namespace kavu_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(mosquitto_broker, sees_who_is_connected_and_subscribed) {
  mosquitto_broker broker;
  {
    observer watching({.port = broker.port(), .client_id = "the watcher"});
    EXPECT_EQ(watching.subscribe("a b/#", 1), 1);
    EXPECT_TRUE(broker.wait_for_subscription("a b/#"));
    EXPECT_THAT(broker.connected_clients(), ElementsAre("the watcher"));
    EXPECT_THAT(broker.subscriptions(),
                ElementsAre(broker_subscription{"the watcher", "a b/#", 1}));

    publisher out(broker.port());
    out.publish("a b/c", "first", 2);
    out.publish_many({{"a b/d", "second"}, {"elsewhere", "x"}, {"a b/d", "third", 0}});
    ASSERT_TRUE(watching.wait_for_messages(3));
    EXPECT_EQ(watching.messages("a b/d").size(), 2U);
  }
  EXPECT_TRUE(broker.wait_for_clients(0));
  EXPECT_THAT(broker.subscriptions(), IsEmpty());
  EXPECT_EQ(broker.connections_accepted(), 2U);
}

TEST(mosquitto_broker, comes_back_on_its_port_after_being_stopped_and_killed) {
  mosquitto_broker broker({.log_packets = false});
  observer watching(broker.port(), "#");
  publisher out(broker.port());
  std::size_t expected = 0;
  for (const auto end : {&mosquitto_broker::stop, &mosquitto_broker::kill}) {
    (broker.*end)();
    EXPECT_FALSE(broker.running());
    EXPECT_FALSE(accepts_connections(broker.port()));
    EXPECT_THAT(broker.connected_clients(), IsEmpty());
    broker.restart();
    ASSERT_TRUE(broker.wait_for_clients(2));
    ASSERT_TRUE(broker.wait_for_subscription("#"));
    ASSERT_TRUE(out.wait_until_connected());
    out.publish("t", "again");
    EXPECT_TRUE(watching.wait_for_messages(++expected));
  }
}

TEST(mosquitto_broker, pauses) {
  mosquitto_broker broker;
  publisher out(broker.port());
  broker.pause();
  EXPECT_THROW(out.publish("t", "x", 1, false, std::chrono::milliseconds(50)), std::runtime_error);
  broker.resume();
  out.publish("t", "y");
}

TEST(mosquitto_broker, lets_in_only_users_with_their_password) {
  mosquitto_broker broker({.allow_anonymous = false, .users = {{"anna", "secret"}}});
  EXPECT_NO_THROW(publisher({.port = broker.port(), .user = "anna", .password = "secret"}));
  EXPECT_THROW(publisher({.port = broker.port(), .user = "anna", .password = "other"}),
               std::runtime_error);
  EXPECT_THROW(publisher(broker.port()), std::runtime_error);
}

TEST(mosquitto_broker, keeps_retained_messages_over_a_restart_only_with_persistence) {
  for (const bool persistence : {false, true}) {
    mosquitto_broker broker({.persistence = persistence});
    publisher(broker.port()).publish("kept", "value", 1, true);
    broker.restart();
    observer watching(broker.port(), "kept");
    publisher(broker.port()).publish("kept", "end");
    ASSERT_TRUE(watching.wait_for_message([](const auto& m) { return m.payload == "end"; }));
    EXPECT_EQ(watching.message_count(), persistence ? 2U : 1U);
  }
}

TEST(mosquitto_broker, checks_certificates_and_shows_its_own) {
  const auto& made = certificates::get();
  const auto connects = [](const mosquitto_broker& broker, const certificate& authority,
                           const certificate& client) {
    try {
      publisher out({.port = broker.tls_port(),
                     .ca_file = authority.file,
                     .certificate_file = client.file,
                     .key_file = client.key_file});
      out.publish("t", "x");
      return true;
    } catch (const std::runtime_error&) {
      return false;
    }
  };
  mosquitto_broker broker({.tls = mosquitto_tls{.certificate_file = made.server.file,
                                                .key_file = made.server.key_file,
                                                .client_ca_file = made.authority.file,
                                                .require_certificate = true}});
  EXPECT_TRUE(connects(broker, made.authority, made.client));
  EXPECT_FALSE(connects(broker, made.other_authority, made.client));
  EXPECT_FALSE(connects(broker, made.authority, made.client_of_other_authority));
  EXPECT_FALSE(connects(broker, made.authority, certificate{}));
  for (const auto* server :
       {&made.expired_server, &made.server_for_another_host, &made.server_of_other_authority}) {
    broker.restart(
        {.tls = mosquitto_tls{.certificate_file = server->file, .key_file = server->key_file}});
    EXPECT_FALSE(connects(broker, made.authority, certificate{})) << server->file;
  }
}

TEST(mosquitto_broker, says_why_it_does_not_start) {
  try {
    mosquitto_broker broker({.extra = {"no_such_option 1"}});
    FAIL() << "it started";
  } catch (const std::runtime_error& failure) {
    EXPECT_THAT(failure.what(), testing::HasSubstr("no_such_option"));
  }
}

}  // namespace
}  // namespace kavu_test
