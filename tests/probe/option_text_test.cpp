#include "probe/option_text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "probe/command_line.hpp"
#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(channel_option, separates_only_before_its_own_keys) {
  struct {
    const char* text;
    const char* name;
    const char* path;
    std::optional<std::string> unit;
    std::optional<std::string> scale;
  } const cases[] = {
      {"name=temp,path=$.t", "temp", "$.t", std::nullopt, std::nullopt},
      {"path=$.t[?(@.a,b)],unit=m,s,name=a", "a", "$.t[?(@.a,b)]", "m,s", std::nullopt},
      {"name=a, b,path=$['x','y'],scale=0.1", "a, b", "$['x','y']", std::nullopt, "0.1"},
      {"path=$.a[?(@.name=='x')],name=n,unit=", "n", "$.a[?(@.name=='x')]", "", std::nullopt},
      {"name=,path=$.unit=3", "", "$.unit=3", std::nullopt, std::nullopt},
      {"name=x,y=2,path=$[?(@.a,nam=1)]", "x,y=2", "$[?(@.a,nam=1)]", std::nullopt, std::nullopt},
  };
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.text);
    const channel_option channel = parse_channel_option(expected.text);
    EXPECT_EQ(channel.name, expected.name);
    EXPECT_EQ(channel.path, expected.path);
    EXPECT_EQ(channel.unit, expected.unit);
    EXPECT_EQ(channel.scale, expected.scale);
  }
}

TEST(option_text, refuses_what_cannot_be_meant) {
  for (const char* text : {"", "temp", "name=a", "path=$.a", "colour=red,name=a,path=$",
                           "name=a,path=$,name=b", ",name=a,path=$"}) {
    EXPECT_THROW(parse_channel_option(text), usage_error) << text;
  }
  EXPECT_EQ(parse_seconds("--interval", "2"), 2s);
  EXPECT_EQ(parse_seconds("--interval", "0.25"), 250ms);
  for (const char* text : {"", "0", "-1", "nan", "inf", "1e300", "1,5", "2 ", "0x2", "0.0001"}) {
    EXPECT_THROW(parse_seconds("--interval", text), usage_error) << text;
  }
}

program_options read(const std::vector<std::string>& arguments) {
  std::vector<const char*> words{"kavu-probe"};
  for (const auto& argument : arguments) {
    words.push_back(argument.c_str());
  }
  return *read_command_line(static_cast<int>(words.size()), words.data()).options;
}

// The library that splits the line gives a meaning to brackets, quotes and empty texts in some
// places; a message must arrive as it was typed.
TEST(command_line, takes_texts_as_they_stand) {
  for (const char* text : {"[a,b]", "\"quoted\"", "", "{}", "%%", "a\nb", "\xff\xfe", "--", " "}) {
    const auto options = read({"notify", "--topic", "t", std::string("--message=") + text});
    EXPECT_EQ(std::get<notify_options>(options.command).message, text);
  }
  const char* const path = "name=a,path=$['x','y']";
  const program_options options =
      read({"scan", "custom", "--topic", "[t]", "--channel", path, "--channel", "name=[b],path=$.b",
            "--set", "x=[1,2]", "--host", "::1"});
  const auto& scan = std::get<scan_options>(options.command);
  ASSERT_EQ(scan.channels.size(), 2U);
  EXPECT_EQ(scan.channels[0].path, "$['x','y']");
  EXPECT_EQ(scan.channels[1].name, "[b]");
  EXPECT_EQ(scan.settings.at(0).value, "[t]");
  EXPECT_EQ(scan.settings.at(1).value, "[1,2]");
  EXPECT_EQ(options.common.connection.host, "::1");
}

// A module tells them only when it has connected, or with the first message.
TEST(command_line, refuses_topics_and_paths_that_cannot_work) {
  const std::string too_long(65'536, 'x');
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"statistics", "--topic="}, "--topic"},
      {{"statistics", "--topic", "a/#/b"}, "has a \"#\" before its last level"},
      {{"statistics", "--topic", "a/b#"}, "has a \"#\" that does not fill its level"},
      {{"statistics", "--topic", "a+/b"}, "has a \"+\" that does not fill its level"},
      {{"statistics", "--topic", "+b"}, "has a \"+\" that does not fill its level"},
      {{"statistics", "--topic", "$share/g/t"}, "is a shared subscription"},
      {{"statistics", "--topic", "a\xff"}, "is not UTF-8"},
      {{"statistics", "--topic", "\xed\xa0\x80"}, "is not UTF-8"},
      {{"statistics", "--topic", "a\n"}, "the control character U+000A"},
      {{"statistics", "--topic", too_long}, "has 65536 bytes"},
      {{"statistics", "--set", "connection_statistics.topic=#/", "--topic", "t"}, "\"#/\""},
      {{"roundtrip", "--topic", "a/+"}, "holds the wildcard \"+\""},
      {{"custom", "--topic", "a#", "--channel", "name=a,path=$"}, "\"a#\""},
      {{"custom", "--topic", "t", "--channel", "name=a,path="}, "channel \"a\" is empty"},
      {{"custom", "--topic", "t", "--channel", "name=a,path=$["}, "channel \"a\", \"$[\""},
      {{"custom", "--topic", "t", "--channel", "name=a,path=fly($)"}, "Unknown function"},
      {{"custom", "--topic", "t", "--channel", "name=a,path=$", "--message-path", "$.[?"},
       "--message-path, \"$.[?\""},
      {{"sensor", "subscribe_custom_sensor", "--set", "channel9_jsonpath=$..["},
       "channel9_jsonpath, \"$..[\""},
  };
  for (auto [arguments, expected] : cases) {
    arguments.insert(arguments.begin(), "scan");
    try {
      read(arguments);
      ADD_FAILURE() << "accepted, and not: " << expected;
    } catch (const usage_error& failure) {
      EXPECT_NE(std::string_view(failure.what()).find(expected), std::string_view::npos)
          << failure.what();
      EXPECT_LT(std::string_view(failure.what()).size(), 500U);
    }
  }
  for (const char* filter : {"#", "+", "/", "+/#", "a//+/b", "$SYS/#", "Ölpumpe/AA:BB/+"}) {
    EXPECT_NO_THROW(read({"scan", "statistics", "--topic", filter})) << filter;
  }
  read({"scan", "roundtrip", "--set", "topic="});
}

TEST(command_line, says_in_one_line_what_is_wrong) {
  // A line, and words of what is said of it.
  const std::pair<const char*, const char*> cases[] = {
      {"", "a command is needed: demo, info, check, scan, notify"},
      {"fly", "no command \"fly\"; there are demo, info"},
      {"chekc", "no command \"chekc\"; did you mean check?"},
      {"scan", "behind scan one is needed: roundtrip"},
      {"scan Costum --topic t", "scan has no command \"Costum\"; did you mean custom?"},
      {"check surplus", "check does not expect \"surplus\""},
      {"check --prot 1", "check has no option --prot; did you mean --port?"},
      {"scan statistics --tpoic=t", "did you mean --topic?"},
      {"check --username u", "did you mean --user?"},
      {"check --xyz", "check has no option --xyz (see kavu-probe check --help)"},
      {"check --host", "--host needs a value"},
      {"check --port 1 --port 2", "--port stands twice"},
      {"check --port 0", "\"0\" is not a whole number from 1 to 65535"},
      {"check --port 70000", "\"70000\" is not a whole number from 1 to 65535"},
      {"check --timeout -1", "whole number from 0 to 86400"},
      {"scan roundtrip --scans -1", "whole number"},
      {"demo --scans 0", "whole number from 1"},
      {"demo --interval fast", "expected seconds"},
      {"check --ca f", "--ca needs --tls"},
      {"check --key f --tls", "--key needs --cert"},
      {"check --password-file f", "--password-file needs --user"},
      // What is empty is not the default.
      {"check --host=", "--host: a value is needed"},
      {"check --port=", "--port: a value is needed"},
      {"check --user=", "--user: a value is needed"},
      {"check --tls --ca=", "--ca: a value is needed"},
      {"check --module=", "--module: a value is needed"},
      {"scan roundtrip --interval=", "--interval: a value is needed"},
      {"scan roundtrip --id=", "--id: a value is needed"},
      {"scan roundtrip --topic=", "--topic: a value is needed"},
      // What is no name and no address.
      {"check --host 127.0.0.1:21883", "\"127.0.0.1:21883\" holds a port; give it with --port."},
      {"check --host [::1]:21883", "holds a port; give it with --port."},
      {"check --host mqtt://h:1883", "--host \"mqtt://h:1883\" is a URL"},
      {"check --host [::1", "is neither a name nor an IPv6 address"},
      {"check --host ::1%e\x01", "holds \"\\x01\", which is no part"},
      {"check --host h\xff", "is not UTF-8"},
      {"check --user \xff", "--user is not UTF-8"},
      {"notify --topic t --message m --client-id \xff", "--client-id is not UTF-8"},
      // The settings without a section.
      {"scan roundtrip --timeout 5 --set timeout=6", "--timeout and --set timeout are the same"},
      {"scan roundtrip --host a --set host=b", "--host and --set host are the same"},
      {"scan roundtrip --ip 4 --set ipversion=IPv6", "--ip and --set ipversion are the same"},
      {"scan roundtrip --interval 2 --set interval=9",
       "--interval and --set interval are the same"},
      {"scan roundtrip --set timeout=", "expected a whole number from 0 to 86400."},
      {"scan roundtrip --set interval=0", "expected a whole number from 1 to"},
      {"scan roundtrip --set ipversion=IPv5", "expected IPv4 or IPv6."},
      {"scan roundtrip --set logging=maybe", "expected enabled or disabled."},
      {"scan roundtrip --set host=", "must not be empty"},
      {"scan roundtrip --set host=::1 --set ipversion=IPv4", "is an address of the other version"},
      // What would do nothing.
      {"demo --host h", "--host has no effect with demo"},
      {"info --tls", "--tls has no effect with info"},
      {"scan custom --topic t", "--channel is required"},
      {"scan custom --topic t --channel path=$", "name= and path= are needed"},
      {"scan custom --topic t --channel nmae=a,path=$", "no key nmae=; did you mean name=?"},
      {"scan custom --topic t --channel name=a,Path=$", "no key Path=; did you mean path=?"},
      {"scan custom --topic t --channel name=a,path=$,tpye=b", "no key tpye=; did you mean type=?"},
      {"scan custom --topic t --channel name=a,path=$,factor=2", "no key factor=; the keys are"},
      {"scan custom --topic t --channel name=a,factor=2", "no key factor="},
      {"scan statistics", "--topic is required"},
      {"scan roundtrip --set novalue", "expected NAME=VALUE"},
      {"notify --topic t", "--message is required"},
  };
  for (const auto& [line, words] : cases) {
    std::istringstream text(line);
    const std::vector<std::string> arguments{std::istream_iterator<std::string>(text), {}};
    try {
      read(arguments);
      ADD_FAILURE() << "accepted: " << line;
    } catch (const usage_error& failure) {
      EXPECT_THAT(failure.what(), AllOf(HasSubstr(words), Not(HasSubstr("\n")))) << line;
    }
  }
}

TEST(command_line, lists_all_options_of_a_command_in_its_help) {
  for (const auto& command : {std::vector<const char*>{"check"}, {"notify"}, {"scan", "custom"}}) {
    std::vector<const char*> words{"kavu-probe"};
    words.insert(words.end(), command.begin(), command.end());
    words.push_back("--help");
    const std::string help = read_command_line(static_cast<int>(words.size()), words.data()).text;
    EXPECT_THAT(help, AllOf(HasSubstr("--password-file FILE"), HasSubstr("--json")));
    const bool lists_ip = help.find("--ip 4|6|auto") != std::string::npos;
    EXPECT_EQ(lists_ip, command.front() != std::string("notify"));
  }
}

}  // namespace
}  // namespace kavu_probe
