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
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> at(std::uint16_t port, std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"--port", std::to_string(port)});
  return arguments;
}

std::vector<json> results(const probe_run& run) {
  std::vector<json> parsed;
  for (const std::string& line : run.output_lines()) {
    parsed.push_back(json::parse(line));
  }
  return parsed;
}

/// The values of a result by channel number.
std::map<int, json> values(const json& result) {
  std::map<int, json> found;
  for (const json& channel : result.at("channels")) {
    found[channel.at("id")] = channel.at("value");
  }
  return found;
}

TEST(statistics, counts_exactly_and_starts_again) {
  mosquitto_broker broker;
  publisher outside(broker.port());
  outside.publish("plant/quiet", "kept", 1, /*retain=*/true);
  probe_run run(at(broker.port(), {"scan", "statistics", "--topic", "plant/#", "--interval", "2",
                                   "--scans", "2", "--json"}));
  ASSERT_TRUE(broker.wait_for_subscription("plant/#"));
  outside.publish("plant/a", "12345");
  outside.publish("plant/b", "");
  outside.publish("plant/a", std::string("\0\xff", 2));
  EXPECT_EQ(run.wait(), 0);
  const auto scans = results(run);
  ASSERT_EQ(scans.size(), 2U);
  EXPECT_EQ(values(scans[0]), (std::map<int, json>{{0, 4}, {1, 11}, {2, 3}}));
  EXPECT_EQ(values(scans[1]), (std::map<int, json>{{0, 0}, {1, 0}, {2, 0}}));
}

TEST(check, says_why_it_failed) {
  mosquitto_options options;
  options.allow_anonymous = false;
  options.users = {{"probe", "right"}};
  mosquitto_broker broker(options);
  const std::string closed = std::to_string(free_loopback_port());
  const std::string open = std::to_string(broker.port());
  struct {
    std::vector<std::string> arguments;
    const char* password;
    int code;
    const char* error;
  } const cases[] = {
      {{"--port", open, "--user", "probe"}, "right", 0, ""},
      {{"--port", open, "--user", "probe"}, "wrong", 1, "Check your credentials"},
      {{"--port", open}, "", 1, "Check your credentials"},
      {{"--port", closed}, "", 1, "TCP/TLS connect failure"},
      {{"--host", "no.such.host.invalid"}, "", 1, "no.such.host.invalid"},
  };
  for (const auto& expected : cases) {
    std::vector<std::string> arguments = {"check", "--json", "--timeout", "5"};
    arguments.insert(arguments.end(), expected.arguments.begin(), expected.arguments.end());
    probe_run run(arguments, {{"KAVU_PROBE_PASSWORD", expected.password}});
    EXPECT_EQ(run.wait(), expected.code) << expected.error;
    EXPECT_EQ(json::parse(run.output()).at("ok"), expected.code == 0);
    EXPECT_THAT(run.errors(), HasSubstr(expected.error));
  }
}

TEST(custom, keeps_what_the_sensor_gave_from_scan_to_scan) {
  mosquitto_broker broker;
  publisher outside(broker.port());
  probe_run run(at(broker.port(), {"scan", "custom", "--topic", "t", "--interval", "1", "--scans",
                                   "0", "--json", "--message-path", "$.s", "--retain", "--duration",
                                   "--channel", "name=big,path=$['b','none'],type=absolute_integer",
                                   "--channel", "name=f,path=$.f,unit=°C,scale=10", "--channel",
                                   "name=sum,path=$.n,type=delta_counter"}));
  ASSERT_TRUE(broker.wait_for_subscription("t"));
  outside.publish("t", R"({"b":1,"n":100,"f":0.25,"s":"well"})");
  ASSERT_TRUE(run.wait_for_output("2.5"));
  outside.publish("t", R"({"b":9223372036854775807,"n":107,"f":0.5,"s":"better"})");
  ASSERT_TRUE(run.wait_for_output("better"));
  run.process().send_signal(SIGINT);
  EXPECT_EQ(run.wait(), 0);
  const auto scans = results(run);
  const auto after = std::find_if(scans.begin(), scans.end(), [](const json& scan) {
    return scan.contains("message") && scan.at("message").at("text") == "better";
  });
  ASSERT_NE(after, scans.end());
  const auto shown = values(*after);
  EXPECT_EQ(shown.at(1).get<std::int64_t>(), INT64_MAX);
  EXPECT_EQ(shown.at(2), 5.0);
  EXPECT_EQ(shown.at(3), 7);
  EXPECT_TRUE(shown.contains(0));
}

TEST(roundtrip, reports_its_state_in_words) {
  mosquitto_broker broker;
  probe_run good(at(broker.port(), {"scan", "roundtrip", "--json", "--id", "-3"}));
  EXPECT_EQ(good.wait(), 0);
  const json state = results(good).at(0).at("channels").back();
  EXPECT_EQ(state.at("text"), "Roundtrip complete");
  broker.stop();
  probe_run bad(at(broker.port(), {"scan", "roundtrip", "--timeout", "2"}));
  EXPECT_EQ(bad.wait(), 1);
  EXPECT_THAT(bad.output(), HasSubstr("Subscriber could not connect"));
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
  probe_run refused(
      at(broker.port(), {"notify", "--topic", "a/+", "--message", "m", "--language", "German"}));
  EXPECT_EQ(refused.wait(), 1);
  EXPECT_THAT(refused.errors(), AllOf(HasSubstr("a/+"), HasSubstr("ungültig")));
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
  const std::vector<std::string> connection = {"--tls",
                                               "--ca",
                                               all.authority.file,
                                               "--cert",
                                               own.file,
                                               "--key",
                                               own.key_file,
                                               "--key-password-file",
                                               key_password,
                                               "--user",
                                               "probe",
                                               "--password-file",
                                               password,
                                               "--port",
                                               std::to_string(broker.tls_port()),
                                               "--log",
                                               "--json",
                                               "--timeout",
                                               "5"};
  const std::string key_line = own.key_pem.substr(own.key_pem.find('\n') + 1, 40);
  const std::vector<std::vector<std::string>> commands = {
      {"check"},
      {"scan", "statistics", "--topic", "#", "--interval", "0.1"},
      {"scan", "roundtrip"},
      {"notify", "--topic", "t", "--message", "m"}};
  for (std::vector<std::string> arguments : commands) {
    arguments.insert(arguments.end(), connection.begin(), connection.end());
    probe_run run(arguments);
    EXPECT_EQ(run.wait(), 0) << run.errors();
    const std::string said = run.output() + run.errors();
    EXPECT_THAT(said, AllOf(HasSubstr("### Begin"), Not(HasSubstr("very+secret")),
                            Not(HasSubstr(own.key_password)), Not(HasSubstr(key_line))));
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
    ASSERT_TRUE(run.wait_for_output("was seen to arrive"));
    const std::uint16_t port = find_port(run.output());
    ASSERT_TRUE(accepts_connections(port));
    run.process().send_signal(signal);
    EXPECT_EQ(run.wait(), 128 + signal);
    EXPECT_TRUE(eventually([port] { return !accepts_connections(port); })) << signal;
  }
}

}  // namespace
}  // namespace kavu_test
