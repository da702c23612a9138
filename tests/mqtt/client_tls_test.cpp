// Who is let in, who is trusted, and what is said when not.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "helpers/certificates.hpp"
#include "helpers/child_process.hpp"
#include "helpers/loopback_port.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/temporary_directory.hpp"
#include "liblog/severity.hpp"
#include "mqtt/client_fixture.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using kavu_test::certificate;
using kavu_test::certificates;
using kavu_test::eventually;
using libkavuhelper::settings::secure_string;
using testing::HasSubstr;

// With TLS the name goes to the system's resolver, and not every root directory has /etc/hosts.
const char* host_name() {
  addrinfo* found = nullptr;
  if (getaddrinfo("localhost", nullptr, nullptr, &found) != 0) {
    return "127.0.0.1";
  }
  freeaddrinfo(found);
  return "localhost";
}

class client_tls_test : public testing::Test, protected client_fixture {
 protected:
  static kavu_test::mosquitto_options with(const certificate& server, bool require_client = false) {
    kavu_test::mosquitto_options options;
    options.tls = {.certificate_file = server.file, .key_file = server.key_file};
    if (require_client) {
      options.tls->client_ca_file = certificates::get().authority.file;
      options.tls->require_certificate = true;
    }
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
  settings.host = host_name();
  EXPECT_EQ(failure_text(settings), "");
  settings.tls.ca_certificate = certificates::get().authority.file.string();
  EXPECT_EQ(failure_text(settings), "");
}

// One line that a person understands, with the TLS library's own words.
TEST_F(client_tls_test, every_failure_has_its_own_reason) {
  const auto& known = certificates::get();
  const auto shows = [&](const certificate& who, const certificate& key) {
    return [&who, &key](tls_settings& tls) {
      tls.client_certificate = who.pem;
      tls.client_key = key.key_pem;
    };
  };
  const std::string untrusted = "The broker's certificate is not trusted: ";
  struct {
    const certificate& server;
    std::string words;
    std::function<void(tls_settings&)> change = {};
    bool requires_client = false;
    const char* host = "127.0.0.1";
    bool plain = false;
  } const cases[] = {
      {known.expired_server, untrusted + "certificate has expired"},
      {known.future_server, untrusted + "certificate is not yet valid"},
      {known.server_of_other_authority, untrusted + "unable to get local issuer certificate"},
      {known.server_for_another_host, untrusted + "IP address mismatch"},
      {known.server_for_another_host,
       untrusted + (host_name() == std::string("localhost") ? "hostname" : "IP address") +
           " mismatch",
       {},
       false,
       host_name()},
      {known.server, "The broker requires a client certificate: ", {}, true},
      {known.server, "The broker refuses the client certificate: ",
       shows(known.client_of_other_authority, known.client_of_other_authority), true},
      {known.server, "The client key does not fit the client certificate: key values mismatch",
       shows(known.client, known.client_of_other_authority), true},
      {known.server, "The CA certificate cannot be used: ",
       [](tls_settings& tls) { tls.ca_certificate = "-----BEGIN NOTHING"; }},
      {known.server,
       "The broker does not answer with TLS, its port may be one without: ",
       {},
       false,
       "127.0.0.1",
       true},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.words);
    const kavu_test::mosquitto_broker broker(with(each.server, each.requires_client));
    auto settings = tls_settings_for(broker);
    settings.host = each.host;
    settings.port = each.plain ? broker.port() : settings.port;
    if (each.change) {
      each.change(settings.tls);
    }
    lines->clear();
    EXPECT_EQ(failure_key([&] { make(settings); }), "error.tcp_tls_connect_failure");
    std::vector<std::string> told;
    for (const auto& entry : lines->entries()) {
      if (entry.severity <= liblog::severity::warning &&
          entry.message.find("TLS: ") != std::string::npos) {
        told.push_back(entry.message);
      }
    }
    EXPECT_THAT(told, testing::ElementsAre(HasSubstr("TLS: " + each.words)));
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

  for (const char* wrong : {"not the pass phrase", ""}) {
    settings.tls.client_key_password = secure_string(wrong);
    EXPECT_THAT(failure_text(settings), HasSubstr("or its pass phrase is wrong")) << wrong;
  }

  settings.tls.client_certificate = known.client_of_other_authority.pem;
  settings.tls.client_key = known.client_of_other_authority.key_pem;
  EXPECT_NE(failure_text(settings), "");

  for (const auto& entry : lines->entries()) {
    EXPECT_THAT(entry.message, testing::Not(HasSubstr("PRIVATE KEY")));
    EXPECT_THAT(entry.message, testing::Not(HasSubstr("pass phrase")));
  }
}

// The TLS library asks whoever sits at the terminal, if it may. Here is a terminal, and nobody.
TEST_F(client_tls_test, a_missing_pass_phrase_is_not_asked_for_at_the_terminal) {
  if (const int terminal = posix_openpt(O_RDWR); terminal < 0) {
    GTEST_SKIP() << "no terminals here";
  } else {
    close(terminal);
  }
  const kavu_test::temporary_directory directory;
  const auto output = directory.path() / "output";
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  kavu_test::child_process at_terminal(
      {kavu_test::find_program("script"), "--quiet", "--return", "--command",
       self +
           " --gtest_output= --gtest_color=no --gtest_filter=*a_client_shows_who_it_is_when_asked",
       "/dev/null"},
      output);
  EXPECT_EQ(at_terminal.wait(), 0);
  std::ostringstream text;
  text << std::ifstream(output).rdbuf();
  EXPECT_THAT(text.str(), HasSubstr("[  PASSED  ] 1 test"));
  EXPECT_THAT(text.str(), testing::Not(HasSubstr("pass phrase:")));
}

// Whether or not its certificate is looked at.
TEST_F(client_tls_test, a_server_that_speaks_only_an_old_version_is_refused) {
  const auto& known = certificates::get();
  const kavu_test::temporary_directory directory;
  const std::string port = std::to_string(kavu_test::free_loopback_port());
  const std::string program = kavu_test::find_program("openssl");
  kavu_test::child_process server(
      {program, "s_server", "-accept", "127.0.0.1:" + port, "-cert", known.server.file, "-key",
       known.server.key_file, "-tls1_1", "-cipher", "DEFAULT@SECLEVEL=0", "-quiet"},
      directory.path() / "output");
  // It serves whoever is content with that.
  ASSERT_TRUE(eventually([&] {
    kavu_test::child_process client(
        {program, "s_client", "-connect", "127.0.0.1:" + port, "-tls1_1", "-cipher",
         "DEFAULT@SECLEVEL=0", "-CAfile", known.authority.file, "-verify_return_error"},
        directory.path() / "client");
    return client.wait() == 0;
  }));
  for (const auto& authority : {known.authority.pem, std::string()}) {
    auto settings = settings_for(static_cast<std::uint16_t>(std::stoi(port)));
    settings.tls.mode = tls_settings::tls_mode::on;
    settings.tls.ca_certificate = authority;
    EXPECT_NE(failure_text(settings), "");
  }
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
