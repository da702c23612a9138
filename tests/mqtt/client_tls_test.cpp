// Who is let in, who is trusted, and what is said when not.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "helpers/certificates.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::certificate;
using kavu_test::certificates;
using libkavuhelper::settings::secure_string;
using testing::HasSubstr;

class client_tls_test : public testing::Test, protected client_fixture {
 protected:
  static kavu_test::mosquitto_options with(const certificate& server, bool require_client = false) {
    kavu_test::mosquitto_tls tls{.certificate_file = server.file, .key_file = server.key_file};
    if (require_client) {
      tls.client_ca_file = certificates::get().authority.file;
      tls.require_certificate = true;
    }
    kavu_test::mosquitto_options options;
    options.tls = tls;
    return options;
  }
  mqtt_client_settings tls_settings_for(const kavu_test::mosquitto_broker& broker) const {
    auto settings = settings_for(broker.tls_port());
    settings.tls.mode = tls_settings::tls_mode::on;
    settings.tls.ca_certificate = certificates::get().authority.pem;
    return settings;
  }
  std::string failure_text(const mqtt_client_settings& settings) {
    try {
      EXPECT_TRUE(make(settings)->is_connected());
      return {};
    } catch (const exceptions::client_failure& failure) {
      return failure.what();
    }
  }
};

TEST_F(client_tls_test, a_broker_of_the_given_authority_is_trusted) {
  const kavu_test::mosquitto_broker broker(with(certificates::get().server));
  auto settings = tls_settings_for(broker);
  EXPECT_EQ(failure_text(settings), "");
  settings.host = "localhost";
  EXPECT_EQ(failure_text(settings), "");
  settings.tls.ca_certificate = certificates::get().authority.file.string();
  EXPECT_EQ(failure_text(settings), "");
}

TEST_F(client_tls_test, nobody_else_is_trusted_and_the_reason_is_told) {
  struct {
    const char* name;
    const certificate& server;
    const char* words;
  } const cases[] = {
      {"another authority", certificates::get().server_of_other_authority,
       "certificate verify failed"},
      {"expired", certificates::get().expired_server, "certificate verify failed"},
      {"another host's", certificates::get().server_for_another_host, "TLS: IP address mismatch"},
  };
  for (const auto& each : cases) {
    const kavu_test::mosquitto_broker broker(with(each.server));
    lines->clear();
    EXPECT_NE(failure_text(tls_settings_for(broker)), "") << each.name;
    EXPECT_TRUE(logged(each.words)) << each.name;
  }
}

TEST_F(client_tls_test, without_an_authority_nothing_is_checked_and_the_log_says_so) {
  const kavu_test::mosquitto_broker broker(with(certificates::get().server_of_other_authority));
  auto settings = tls_settings_for(broker);
  settings.tls.ca_certificate.clear();
  EXPECT_EQ(failure_text(settings), "");
  EXPECT_TRUE(logged("Do not verify server certificate "));
}

TEST_F(client_tls_test, a_client_shows_who_it_is_when_asked) {
  const auto& known = certificates::get();
  const kavu_test::mosquitto_broker broker(with(known.server, true));
  auto settings = tls_settings_for(broker);
  EXPECT_NE(failure_text(settings), "");  // no certificate

  settings.tls.client_certificate = known.client.pem;
  settings.tls.client_key = known.client.key_pem;
  EXPECT_EQ(failure_text(settings), "");

  settings.tls.client_certificate = known.client.pem + known.client.key_pem;
  settings.tls.client_key.clear();
  EXPECT_EQ(failure_text(settings), "");  // both in one

  settings.tls.client_certificate = known.client_with_encrypted_key.pem;
  settings.tls.client_key = known.client_with_encrypted_key.key_pem;
  settings.tls.client_key_password = secure_string(known.client_with_encrypted_key.key_password);
  EXPECT_EQ(failure_text(settings), "");

  settings.tls.client_key_password = secure_string("not the pass phrase");
  EXPECT_NE(failure_text(settings), "");

  settings.tls.client_certificate = known.client_of_other_authority.pem;
  settings.tls.client_key = known.client_of_other_authority.key_pem;
  EXPECT_NE(failure_text(settings), "");

  for (const auto& entry : lines->entries()) {
    EXPECT_THAT(entry.message, testing::Not(HasSubstr("PRIVATE KEY")));
    EXPECT_THAT(entry.message, testing::Not(HasSubstr("pass phrase")));
  }
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
