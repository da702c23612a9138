// No password and no key ever comes back to the host.

#include <gtest/gtest.h>

#include <future>
#include <sstream>

#include "helpers/certificates.hpp"
#include "helpers/module_host.hpp"
#include "helpers/mosquitto_broker.hpp"

namespace kavu_test {
namespace {

const std::string password = "user-pass-Kz81qP";
const std::string wrong_password = "wrong-pass-Wm42xT";
const std::string api_key = "cloud-key-Vb77hD";
const std::string wrong_pass_phrase = "wrong-phrase-Ju90sN";

/// The lines of a key between its head and its foot.
std::vector<std::string> lines_of(const std::string& pem) {
  std::vector<std::string> lines;
  std::istringstream text(pem);
  for (std::string line; std::getline(text, line);) {
    if (line.find("-----") == std::string::npos) {
      lines.push_back(line);
    }
  }
  return lines;
}

/// The ways in which a user can give secrets, right ones first.
constexpr std::string_view ways[] = {"encrypted key", "plain key",  "one text",  "wrong user",
                                     "wrong phrase",  "half of it", "unreadable"};
constexpr std::size_t right_ways = 3;

host_settings connecting(host_settings settings, std::string_view how) {
  const auto& known = certificates::get();
  const auto& client = how == "encrypted key" || how == "wrong phrase"
                           ? known.client_with_encrypted_key
                           : known.client;
  settings.user("anna", how == "wrong user" ? wrong_password : password)
      .tls(known.authority.pem)
      .client_certificate(client);
  if (how == "one text") {
    settings.set("credentials.tls.client_certificate", client.pem + client.key_pem)
        .set("credentials.tls.client_key", "");
  } else if (how == "wrong phrase") {
    settings.set("credentials.tls.client_key_password", wrong_pass_phrase);
  } else if (how == "half of it") {
    settings.set("credentials.tls.client_certificate", client.pem.substr(0, 200));
  } else if (how == "unreadable") {
    settings.set("credentials.tls.active", "on");
  }
  return settings;
}

/// Everything that a module offers, with logging on, and the number of what succeeded.
int run_everything(module_host& host, const host_settings& check,
                   const std::vector<host_settings>& sensors, const host_settings& notification,
                   std::int32_t first_id) {
  int successes = 0;
  host.check(first_id, check);
  for (const auto& result : host.inbox().check_results(first_id)) {
    successes += result.success() ? 1 : 0;
  }
  std::int32_t id = first_id;
  for (const auto& settings : sensors) {
    ++id;
    if (host.create_sensor(id, settings) == KAVU_OK) {
      successes += host.scan_result(id).response_code() == kavu::wire::RESPONSE_CODE_OK ? 1 : 0;
      host.destroy_sensor(id);
    }
  }
  host.notify(first_id, notification);
  for (const auto& response : host.inbox().notification_responses(first_id)) {
    successes += response.success() ? 1 : 0;
  }
  return successes;
}

TEST(secrets, do_not_come_back_in_any_message) {
  const auto& known = certificates::get();
  mosquitto_broker broker({.allow_anonymous = false,
                           .users = {{"anna", password}},
                           .tls = mosquitto_tls{.certificate_file = known.server.file,
                                                .key_file = known.server.key_file,
                                                .client_ca_file = known.authority.file,
                                                .require_certificate = true}});
  const auto port = broker.tls_port();
  module_host host;
  std::vector<std::future<int>> running;
  for (const auto how : ways) {
    const auto logging = [how](const host_settings& settings) {
      return connecting(settings, how)
          .set("logging", "enabled")
          .set("timeout", "2")
          .set("brunvikcloudapikey", api_key);
    };
    running.push_back(
        std::async(std::launch::async, run_everything, std::ref(host),
                   logging(host_settings::connect_check(port)),
                   std::vector{logging(host_settings::roundtrip_sensor(port)),
                               logging(host_settings::statistics_sensor(port, "a/#")),
                               logging(host_settings::custom_sensor(port, "a/b").channel(1, "$"))},
                   connecting(host_settings::notification(port, "a/c", "text"), how),
                   static_cast<std::int32_t>(running.size() * 100)));
  }
  for (std::size_t number = 0; const auto how : ways) {
    EXPECT_EQ(running[number].get(), number < right_ways ? 5 : 0) << how;
    ++number;
  }

  EXPECT_TRUE(host.inbox().contains("\"********\""));  // the settings do come back
  EXPECT_TRUE(host.inbox().contains("anna"));
  for (const auto& secret : {password, wrong_password, api_key, wrong_pass_phrase,
                             known.client_with_encrypted_key.key_password}) {
    EXPECT_FALSE(host.inbox().contains(secret)) << secret;
  }
  for (const auto* key : {&known.client, &known.client_with_encrypted_key}) {
    for (const auto& line : lines_of(key->key_pem)) {
      EXPECT_FALSE(host.inbox().contains(line)) << line;
    }
  }
  EXPECT_FALSE(host.inbox().contains("PRIVATE KEY"));
}

}  // namespace
}  // namespace kavu_test
