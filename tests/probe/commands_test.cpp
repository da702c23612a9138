#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "probe/probe_run.hpp"
#include "probe/test_document.hpp"

// The program from outside, on a module that needs no broker.
namespace kavu_test {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> on_test_module(std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"--module", KAVU_TEST_MODULE});
  return arguments;
}

std::vector<std::string> scan(const std::string& behaviour, std::vector<std::string> more = {},
                              const std::string& interval = "0.05") {
  std::vector<std::string> arguments = {
      "scan", "sensor", "tank_sensor", "--set", "topic=" + behaviour, "--interval", interval};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return on_test_module(arguments);
}

TEST(info, gives_the_document_byte_for_byte_or_for_people) {
  probe_run exact(on_test_module({"info", "--json"}));
  EXPECT_EQ(exact.wait(), 0);
  EXPECT_EQ(exact.output(), std::string(test_document) + "\n");
  probe_run readable(on_test_module({"info", "--language", "German"}));
  EXPECT_EQ(readable.wait(), 0);
  EXPECT_THAT(readable.output(),
              AllOf(HasSubstr("tank_sensor  Behälter"), HasSubstr("Up to two values."),
                    HasSubstr("integer from 1 to 65535; default \"1883\"; required"),
                    HasSubstr("one of \"no\" = None, \"yes\" = Password"),
                    HasSubstr("Between 1 and 100%."), HasSubstr("secret text")));
  for (const std::string& line : readable.output_lines()) {
    EXPECT_LE(line.size(), 102U) << line;
  }
}

TEST(usage, ends_with_2_and_one_line) {
  temporary_directory directory;
  const std::string lines = directory.write("lines", "geheim\nvery secret\n");
  const std::string latin = directory.write("latin", "geheim\xE4\n");
  const std::string return_only = directory.write("return", "geheim\r");
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"info", "--language", "Klingon"}, "German, English."},
      {{"info", "--language", "german"}, "did you mean German?"},
      {{"check", "--module", "/nowhere.so"}, "/nowhere.so"},
      {{"check", "--module", "/bin/sh"}, "cannot be loaded"},
      {{"check", "--port", "70000"}, "not a whole number from 1 to 65535"},
      {{"check", "--ip", "6", "--host", "127.0.0.1"}, "127.0.0.1 is an address of the other"},
      {{"check", "--ip", "4", "--host", "[::1]"}, "[::1] is an address of the other"},
      {{"notify", "--ip", "4", "--topic", "t", "--message", "m"}, "no effect on notify"},
      {{"notify", "--topic", "a/+", "--message", "m"}, "\"a/+\" holds the wildcard \"+\""},
      {{"check", "--user", "u", "--password-file", "/nowhere"}, "No such file"},
      {{"check", "--user", "u", "--password-file", lines}, "holds several lines"},
      {{"check", "--user", "u", "--password-file", "/dev/null"}, "it is empty"},
      {{"check", "--user", "u", "--password-file", return_only}, "(whose end, LF or CR LF,"},
      {{"check", "--user", "u", "--password-file", latin}, "in --password-file is not UTF-8"},
      {{"check", "--user", "u"}, "KAVU_PROBE_PASSWORD is not UTF-8"},
      {{"check", "--tls", "--ca", "/dev/null"}, "no PEM text"},
      {{"scan", "sensor", "none"}, "no sensor \"none\""},
      {{"scan", "statistics", "--topic", "t"}, "no sensor \"statistics_sensor\""},
      {{"scan", "sensor", "tank_sensor"}, "must not be empty"},
      {{"scan", "sensor", "tank_sensro"}, "did you mean tank_sensor?"},
      {{"scan", "sensor", "tank_sensor", "--set", "colour=1"}, "no setting \"colour\" here."},
      {{"scan", "sensor", "tank_sensor", "--set", "tpoic=t"}, "did you mean topic?"},
      {{"scan", "sensor", "tank_sensor", "--set", "topic=t", "--set", "topic=u"},
       "--set topic is given twice"},
      {{"scan", "sensor", "tank_sensor", "--port", "2", "--set", "connection.port=3"},
       "--port and --set connection.port are the same setting"},
      {{"scan", "sensor", "tank_sensor", "--set", "channel2=enabel"}, "did you mean enable?"},
      {{"scan", "sensor", "tank_sensor", "--set", "topic=t", "--set", "channel2_name=n"},
       "has no effect while tank.tank.channel2 is \"disable\""},
      {{"scan", "sensor", "tank_sensor", "--set", "password=geheim"}, "no place"},
  };
  for (const auto& [arguments, expected] : cases) {
    const bool own_module =
        std::find(arguments.begin(), arguments.end(), "--module") != arguments.end();
    probe_run run(own_module ? arguments : on_test_module(arguments),
                  {{"KAVU_PROBE_PASSWORD", "geheim\xE4"}});
    EXPECT_EQ(run.wait(), 2) << expected;
    const std::string errors = run.errors();
    EXPECT_THAT(errors, AllOf(HasSubstr(expected), Not(HasSubstr("geheim"))));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    EXPECT_EQ(run.output(), "");
  }
}

TEST(check, sends_the_version_of_ip) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"--host", "localhost"}, "localhost IPv4"},
      {{"--host", "localhost", "--ip", "6"}, "localhost IPv6"},
      {{"--host", "::1", "--ip", "auto"}, "[::1] IPv6"}};
  for (const auto& [arguments, seen] : cases) {
    std::vector<std::string> line = on_test_module({"check", "--log"});
    line.insert(line.end(), arguments.begin(), arguments.end());
    probe_run run(line);
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(run.errors(), HasSubstr(seen));
  }
}

TEST(check, tells_the_reason_of_a_failure_once) {
  probe_run good(on_test_module({"check", "--json"}));
  EXPECT_EQ(good.wait(), 0);
  EXPECT_EQ(json::parse(good.output()).at("ok"), true);
  EXPECT_EQ(good.errors(), "");

  probe_run bad(on_test_module({"check", "--json", "--host", "refused"}));
  EXPECT_EQ(bad.wait(), 1);
  const json result = json::parse(bad.output());
  EXPECT_EQ(result.at("ok"), false);
  EXPECT_EQ(result.at("kind"), "reach_check");
  EXPECT_TRUE(result.at("elapsed_ms").is_number_integer());
  EXPECT_EQ(bad.errors(), "kavu-probe: reach_check: The tank \\x1b[31mrefused\n");
}

TEST(scan_series, shows_each_result_and_destroys_the_sensor) {
  probe_run run(scan("counts", {"--scans", "3", "--json", "--log", "--language", "German"}));
  EXPECT_EQ(run.wait(), 0);
  const auto lines = run.output_lines();
  ASSERT_EQ(lines.size(), 3U);
  // The module counts scans in channel 0 and their square, of which half is shown, in channel 1.
  EXPECT_EQ(json::parse(lines[0]).at("channels").size(), 1U);
  const json third = json::parse(lines[2]).at("channels");
  EXPECT_EQ(third.at(0).at("value"), 3);
  EXPECT_EQ(third.at(0).at("name"), "Anzahl");
  EXPECT_EQ(third.at(1).at("value"), 2.5);
  EXPECT_THAT(run.errors(), AllOf(HasSubstr("destroyed 1"), HasSubstr("cleaned up")));
}

TEST(scan_series, goes_on_after_failures) {
  struct {
    const char* behaviour;
    std::vector<bool> ok;
    const char* error;
  } const cases[] = {
      {"fails", {false, false, false}, "tank_sensor 1: Von 'tank,1' abgewiesen: full (100%)"},
      {"silent", {false, false, false}, "has given no result"},
      {"garbage", {true, true, true}, "3 bytes that are no message"},
      {"late", {false, true, true}, "Von 'tank,1' abgewiesen"},
      {"vanishes", {true, false, true}, "does not have this sensor any more (code 6)"},
  };
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.behaviour);
    probe_run run(scan(expected.behaviour, {"--scans", "3", "--json", "--language", "German"}));
    const bool all_well = expected.ok == std::vector<bool>(3, true);
    EXPECT_EQ(run.wait(), all_well ? 0 : 1);
    std::vector<bool> ok;
    for (const std::string& line : run.output_lines()) {
      ok.push_back(json::parse(line).at("ok"));
    }
    EXPECT_EQ(ok, expected.ok);
    EXPECT_THAT(run.errors(), HasSubstr(expected.error));
  }
}

TEST(scan_series, tells_the_reason_of_failures_in_a_row_once) {
  probe_run run(scan("fails", {"--scans", "3"}));
  EXPECT_EQ(run.wait(), 1);
  const std::string failure = "kavu-probe: tank_sensor 1: Refused by 'tank,1': full (100%)\n";
  const std::string reason = "kavu-probe: tank_sensor 1: The tank \\x1b[31mrefused\n";
  const std::string of_creation = "kavu-probe: tank_sensor 1: The tank is away\n";
  EXPECT_EQ(run.errors(), failure + of_creation + reason + failure + failure);
}

TEST(scan_series, ends_at_what_cannot_become_better) {
  probe_run unknown(on_test_module({"scan", "sensor", "missing_sensor", "--scans", "0", "--json"}));
  EXPECT_EQ(unknown.wait(), 1);
  EXPECT_EQ(json::parse(unknown.output()).at("ok"), false);
  EXPECT_THAT(unknown.errors(), HasSubstr("does not offer this sensor (code 4)"));
  // A check that is required comes first.
  probe_run unchecked(scan("counts", {"--require-checks", "--json", "--host", "refused"}));
  EXPECT_EQ(unchecked.wait(), 1);
  EXPECT_EQ(json::parse(unchecked.output()).at("kind"), "reach_check");
}

TEST(notify, tells_success_and_failure) {
  probe_run good(on_test_module(
      {"notify", "--topic", "t", "--message", "", "--json", "--host", "::1", "--log"}));
  EXPECT_EQ(good.wait(), 0);
  EXPECT_EQ(json::parse(good.output()).at("kind"), "test_notification");
  EXPECT_THAT(good.errors(), HasSubstr("[::1] 1883"));
  probe_run bad(on_test_module({"notify", "--topic", "refused", "--message", "m"}));
  EXPECT_EQ(bad.wait(), 1);
  EXPECT_THAT(bad.errors(), HasSubstr("test_notification: Refused by 'tank,1'"));
}

TEST(secrets, come_from_file_or_variable_and_their_line_end_stays_behind) {
  temporary_directory directory;
  const std::string file = directory.write("password", "pass word\r\n");
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"--user", "u", "--log", "--password-file", file}, "password pass word\\n2"},
      {{"--user", "u", "--log"}, "password other\\n2"}};
  for (const auto& [arguments, seen] : cases) {
    probe_run run(scan("counts", arguments), {{"KAVU_PROBE_PASSWORD", "other"}});
    EXPECT_EQ(run.wait(), 0);
    EXPECT_THAT(run.errors(), HasSubstr(seen));
  }
}

TEST(signals, end_a_waiting_series_at_once) {
  probe_run bounded(scan("counts", {"--scans", "2", "--log"}, "3600"));
  ASSERT_TRUE(bounded.wait_for("password"));
  bounded.process().send_signal(SIGINT);
  EXPECT_EQ(bounded.wait(), 128 + SIGINT);
  EXPECT_THAT(bounded.errors(), HasSubstr("cleaned up"));

  probe_run endless(scan("counts", {"--scans", "0"}));
  ASSERT_TRUE(endless.wait_for("Count"));
  endless.process().send_signal(SIGTERM);
  EXPECT_EQ(endless.wait(), 128 + SIGTERM);
}

TEST(signals, end_a_call_that_does_not_come_back) {
  for (const auto& arguments :
       {on_test_module({"check", "--host", "blocks", "--log"}), scan("blocks", {"--log"})}) {
    probe_run run(arguments);
    ASSERT_TRUE(run.wait_for("blocking"));
    run.process().send_signal(SIGTERM);
    EXPECT_EQ(run.wait(), 128 + SIGTERM);
  }
}

TEST(output, of_a_failure_comes_once_where_both_outputs_meet) {
  for (const char* const form : {"", " --json"}) {
    temporary_directory directory;
    const auto both = directory.path() / "both";
    child_process shell({"/bin/sh", "-c",
                         std::string("exec \"$0\" scan sensor tank_sensor --set topic=fails") +
                             " --interval 0.05 --module \"$1\"" + form + " 2>&1",
                         KAVU_PROBE, KAVU_TEST_MODULE},
                        both);
    EXPECT_EQ(shell.wait(), 1);
    std::ostringstream said;
    said << std::ifstream(both).rdbuf();
    const std::string failure = "Refused by 'tank,1'";
    EXPECT_NE(said.str().find(failure), std::string::npos) << said.str();
    EXPECT_EQ(said.str().find(failure), said.str().rfind(failure)) << said.str();
  }
}

TEST(output, that_nobody_reads_ends_the_series) {
  // The reader closes the pipe after the first line.
  const std::string line = std::string(KAVU_PROBE) + " scan sensor tank_sensor --set topic=counts" +
                           " --interval 0.05 --scans 0 --module " KAVU_TEST_MODULE;
  temporary_directory directory;
  const auto log = directory.path() / "log";
  child_process shell({"/bin/bash", "-o", "pipefail", "-c", line + " | head -n 1"}, log);
  EXPECT_EQ(shell.wait(), 1);
}

}  // namespace
}  // namespace kavu_test
