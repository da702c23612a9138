#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <regex>

#include "helpers/certificates.hpp"
#include "helpers/loopback_port.hpp"
#include "helpers/mosquitto_broker.hpp"
#include "helpers/observer.hpp"
#include "helpers/publisher.hpp"
#include "probe/probe_run.hpp"

// The whole: program, module and a real broker.
namespace kavu_test {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> at(std::uint16_t port, std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"--port", std::to_string(port)});
  return arguments;
}

TEST(custom, keeps_what_the_sensor_gave_from_scan_to_scan) {
  mosquitto_broker broker;
  publisher outside(broker.port());
  probe_run run(
      at(broker.port(), {"scan",           "custom",
                         "--topic",        "t",
                         "--interval",     "1",
                         "--scans",        "0",
                         "--json",         "--retain",
                         "--message-path", "$.s",
                         "--duration",     "--max-age=3600",
                         "--channel",      "name=big,path=$['b','none'],type=absolute_integer",
                         "--channel",      "name=f,path=$.f,unit=°C,scale=10",
                         "--channel",      "name=sum,path=$.n,type=delta_counter"}));
  ASSERT_TRUE(run.wait_for("probe.no_message"));
  outside.publish("t", R"({"b":1,"n":100,"f":0.25,"s":"well"})");
  ASSERT_TRUE(run.wait_for("2.5"));
  outside.publish("t", R"({"b":9223372036854775807,"n":107,"f":0.5,"s":"better"})");
  ASSERT_TRUE(run.wait_for("better"));
  run.process().send_signal(SIGINT);
  EXPECT_EQ(run.wait(), 128 + SIGINT);
  const std::string lines = run.output();
  const auto begin = lines.rfind('\n', lines.find("better"));
  const json scan = json::parse(lines.substr(begin + 1, lines.find('\n', begin + 1) - begin - 1));
  std::map<int, json> shown;
  for (const json& channel : scan.at("channels")) {
    shown[channel.at("id")] = channel.at("value");
  }
  EXPECT_EQ(shown.at(1).get<std::int64_t>(), INT64_MAX);
  EXPECT_EQ(shown.at(2), 5.0);
  EXPECT_EQ(shown.at(3), 7);
  EXPECT_TRUE(shown.contains(0));
}

TEST(notify, arrives_with_any_bytes) {
  mosquitto_broker broker;
  observer inside(broker.port(), "alerts/#");
  const std::string text = "-\xff[a,b]\n\"";
  probe_run run(at(broker.port(), {"notify", "--topic", "alerts/x", "--message=" + text}));
  EXPECT_EQ(run.wait(), 0);
  ASSERT_TRUE(inside.wait_for_messages(1));
  EXPECT_EQ(inside.messages().at(0).payload, text);
  EXPECT_EQ(inside.messages().at(0).qos, 1);
  // What MQTT allows and brokers may not bear is the module's to tell.
  probe_run refused(at(
      broker.port(), {"notify", "--topic", "a/\uFFFF", "--message", "m", "--language", "German"}));
  EXPECT_EQ(refused.wait(), 1);
  EXPECT_THAT(refused.errors(), AllOf(HasSubstr("a/\uFFFF"), HasSubstr("ungültig")));
}

TEST(secrets, reach_the_broker_and_nothing_else) {
  const certificates& all = certificates::get();
  mosquitto_options options;
  options.allow_anonymous = false;
  options.users = {{"probe", "very+secret"}};
  options.tls = mosquitto_tls{all.server.file, all.server.key_file, all.authority.file, true};
  mosquitto_broker broker(options);
  const certificate& own = all.client_with_encrypted_key;
  temporary_directory directory;
  const std::string password = directory.write("password", "very+secret\n");
  const std::string key_password = directory.write("key_password", own.key_password);
  const std::string port = std::to_string(broker.tls_port());
  const std::vector<std::string> connection = {"--tls",           "--ca",   all.authority.file,
                                               "--cert",          own.file, "--key",
                                               own.key_file,      "--user", "probe",
                                               "--password-file", password, "--key-password-file",
                                               key_password,      "--port", port,
                                               "--timeout",       "5",      "--log",
                                               "--json"};
  const std::string key_line = own.key_pem.substr(own.key_pem.find('\n') + 1, 40);
  const std::string certificate_line = own.pem.substr(own.pem.find('\n') + 1, 40);
  const std::vector<std::vector<std::string>> commands = {
      {"check"},
      {"scan", "statistics", "--topic", "#", "--interval", "0.1"},
      {"scan", "roundtrip", "--id", "-3"},
      {"notify", "--topic", "t", "--message", "m"}};
  for (std::vector<std::string> arguments : commands) {
    arguments.insert(arguments.end(), connection.begin(), connection.end());
    probe_run run(arguments);
    EXPECT_EQ(run.wait(), 0) << run.errors();
    const std::string said = run.output() + run.errors();
    EXPECT_THAT(said, AllOf(HasSubstr("### Begin"), Not(HasSubstr("very+secret")),
                            Not(HasSubstr(own.key_password)), Not(HasSubstr(key_line)),
                            Not(HasSubstr(certificate_line)), HasSubstr("(PEM text, ")));
  }
}

std::uint16_t find_port(const std::string& text) {
  std::smatch match;
  return std::regex_search(text, match, std::regex("127\\.0\\.0\\.1:([0-9]+)"))
             ? static_cast<std::uint16_t>(std::stoi(match[1]))
             : std::uint16_t{0};
}

// Module and plant count the same messages with unrelated libraries.
void expect_equal_counts(const std::string& text) {
  const std::regex rows(
      "(Messages|Payload) Received +([0-9]+).*\\n +as the plant.*counts +([0-9]+)");
  int compared = 0;
  for (std::sregex_iterator row(text.begin(), text.end(), rows), end; row != end; ++row) {
    EXPECT_EQ((*row)[2], (*row)[3]);
    EXPECT_GT(std::stoi((*row)[2]), 0);
    ++compared;
  }
  EXPECT_EQ(compared, 4);
}

TEST(demo, ends_well_and_leaves_no_broker) {
  probe_run run({"demo", "--scans", "2", "--interval", "1"});
  EXPECT_EQ(run.wait(), 0) << run.errors();
  EXPECT_THAT(run.output(),
              AllOf(HasSubstr("Connection check: ok"), HasSubstr("was seen to arrive"),
                    HasSubstr("Scan 2 of 2"), HasSubstr("Roundtrip complete"),
                    HasSubstr("All went well"), Not(HasSubstr("\x1b"))));
  expect_equal_counts(run.output());
  ASSERT_NE(find_port(run.output()), 0);
  EXPECT_FALSE(accepts_connections(find_port(run.output())));
}

TEST(demo, takes_its_broker_along_on_every_way_out) {
  for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
    probe_run run({"demo", "--scans", "1000"});
    ASSERT_TRUE(run.wait_for("was seen to arrive"));
    const std::uint16_t port = find_port(run.output());
    ASSERT_TRUE(accepts_connections(port));
    run.process().send_signal(signal);
    EXPECT_EQ(run.wait(), 128 + signal);
    // What is killed itself cannot wait for its broker's end.
    EXPECT_TRUE(signal == SIGKILL ? eventually([port] { return !accepts_connections(port); })
                                  : !accepts_connections(port))
        << signal;
  }
}

}  // namespace
}  // namespace kavu_test
