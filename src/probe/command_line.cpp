#include "probe/command_line.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "probe/command_line_fault.hpp"
#include "probe/connection_inputs.hpp"
#include "probe/failure.hpp"
#include "probe/option_text.hpp"
#include "probe/scan_inputs.hpp"
#include "probe/topic_rules.hpp"

namespace kavu_probe {
namespace {

// Texts of options that are only understood after the whole line has been read.
struct raw_texts {
  std::string ip = "auto";
  std::string interval;
  std::optional<std::string> topic;
  std::string message_path;
  std::vector<std::string> settings;
  std::vector<std::string> channels;
};

class command_line {
 public:
  command_line() : app_("Hosts a monitoring module: checks, scans and notifies.", "kavu-probe") {
    app_.set_version_flag("--version", "kavu-probe " KAVU_PROBE_VERSION);
    app_.require_subcommand(1);
    // Options of the program may stand behind the command as well.
    app_.fallthrough();
    add_common_options();
    add_connection_options();
    add_demo();
    add_info();
    add_check();
    add_scans();
    add_notify();
  }

  command_line_result read(int argument_count, const char* const* arguments) {
    try {
      app_.parse(split(argument_count, arguments));
    } catch (const CLI::Success& asked) {
      return {std::nullopt, text_of(asked)};
    } catch (const CLI::ParseError& failure) {
      throw usage_error(explain_fault(app_, failure));
    }
    take_ip_version();
    command_options command = finish_();
    check_connection_inputs(common_.connection);
    return {program_options{common_, std::move(command)}, ""};
  }

 private:
  /// The arguments behind the program's name, last one first, as the library wants them. "--x=" is
  /// taken apart here: the library would take the next argument for the missing value.
  static std::vector<std::string> split(int argument_count, const char* const* arguments) {
    std::vector<std::string> parts;
    for (int index = argument_count - 1; index > 0; --index) {
      const std::string_view argument = arguments[index];
      if (argument.size() > 3 && argument.starts_with("--") &&
          argument.find('=') == argument.size() - 1) {
        parts.emplace_back();
        parts.emplace_back(argument.substr(0, argument.size() - 1));
      } else {
        parts.emplace_back(argument);
      }
    }
    return parts;
  }

  std::string text_of(const CLI::Success& asked) const {
    std::ostringstream text;
    std::ostringstream unused;
    app_.exit(asked, text, unused);
    return text.str();
  }

  void add_common_options() {
    app_.add_option("--module", common_.module_path, "The module's library")
        ->type_name("PATH")
        ->group(common_group)
        ->check(not_empty);
    app_.add_option("--language", common_.language, "Language of names and messages")
        ->type_name("NAME")
        ->group(common_group)
        ->check(not_empty);
    app_.add_flag("--json", common_.json, "One JSON object per line, nothing else")
        ->group(common_group);
    app_.add_flag("--log", common_.log, "The module's whole log, on standard error")
        ->group(common_group);
  }

  void add_connection_options() {
    connection_options& connection = common_.connection;
    const auto add = [this](const char* name, auto& target, const char* type, const char* help) {
      return app_.add_option(name, target, help)
          ->type_name(type)
          ->group(connection_group)
          ->check(not_empty);
    };
    add("--host", connection.host, "NAME", "Name or address (127.0.0.1)");
    add("--ip", raw_.ip, "4|6|auto", "Version of IP to connect with; not for notify (auto)")
        ->check(CLI::IsMember({"4", "6", "auto"}).description(""));
    add("--port", connection.port, "NUMBER", "Port (what the module declares, 1883)")
        ->check(whole_number_check(1, 65535));
    add("--timeout", connection.timeout_s, "SECONDS", "Time-out (10)")
        ->check(whole_number_check(0, longest_timeout_s));
    add("--user", connection.user, "NAME",
        "User name; the password: a file or KAVU_PROBE_PASSWORD");
    add("--password-file", connection.password_file, "FILE",
        "Holds the password, one line, without its end (LF or CR LF)");
    app_.add_flag("--tls", connection.tls, "Encrypt the connection")->group(connection_group);
    add("--ca", connection.ca_file, "FILE", "Certificate authority to check the server against");
    add("--cert", connection.certificate_file, "FILE", "Certificate of this client");
    add("--key", connection.key_file, "FILE", "Key of this client's certificate");
    add("--key-password-file", connection.key_password_file, "FILE",
        "Holds the key's pass phrase, as --password-file does");
  }

  /// The program's options of a group.
  std::vector<const CLI::Option*> options_of(const std::string& group) const {
    const CLI::App& app = app_;
    return app.get_options(
        [&group](const CLI::Option* option) { return option->get_group() == group; });
  }

  /// The part of a help that lists the group, `left_out` excepted.
  std::string describe(const std::string& group, const std::string& left_out = "") const {
    std::vector<const CLI::Option*> options = options_of(group);
    std::erase_if(
        options, [&left_out](const CLI::Option* option) { return option->get_name() == left_out; });
    return CLI::Formatter().make_group(group, false, options);
  }

  void refuse_connection(const char* command, const char* why) const {
    for (const CLI::Option* option : options_of(connection_group)) {
      if (option->count() != 0) {
        throw usage_error(
            fmt::format("{} has no effect with {}: {}.", option->get_name(), command, why));
      }
    }
  }

  void take_ip_version() {
    if (raw_.ip != "auto") {
      common_.connection.ip = raw_.ip == "4" ? ip_version::ipv4 : ip_version::ipv6;
    }
  }

  void add_interval(CLI::App* command, const char* default_text) {
    command
        ->add_option("--interval", raw_.interval,
                     fmt::format("Between two scans; a fraction is allowed ({})", default_text))
        ->type_name("SECONDS")
        ->check(not_empty);
  }

  std::chrono::nanoseconds interval_or(const char* default_text) const {
    return parse_seconds("--interval", raw_.interval.empty() ? default_text : raw_.interval);
  }

  CLI::App* add_command(CLI::App& parent, const char* name, const char* help) {
    CLI::App* command = parent.add_subcommand(name, help);
    command->fallthrough();
    // A command's help shows all that may stand behind it.
    command->footer([this] { return describe(common_group); });
    return command;
  }

  CLI::App* add_connecting_command(CLI::App& parent, const char* name, const char* help) {
    CLI::App* command = add_command(parent, name, help);
    command->footer([this] { return describe(connection_group) + describe(common_group); });
    return command;
  }

  void add_demo() {
    CLI::App* command = add_command(
        app_, "demo", "Show everything at work against a private broker and a simulated plant");
    command->add_option("--scans", demo_.scans, "How many scans (3)")
        ->type_name("NUMBER")
        ->check(whole_number_check(1, 1000000));
    add_interval(command, demo_interval);
    command->parse_complete_callback([this] {
      finish_ = [this]() -> command_options {
        refuse_connection("demo", "it starts a broker of its own");
        demo_.interval = interval_or(demo_interval);
        return demo_;
      };
    });
  }

  void add_info() {
    add_command(app_, "info", "Show the module's sensors and their settings")
        ->parse_complete_callback([this] {
          finish_ = [this]() -> command_options {
            refuse_connection("info", "it connects to nothing");
            return info_options();
          };
        });
  }

  void add_check() {
    add_connecting_command(app_, "check", "Check the connection")->parse_complete_callback([this] {
      finish_ = [] { return check_options(); };
    });
  }

  void add_scans() {
    CLI::App* scan =
        add_connecting_command(app_, "scan", "Create a sensor, scan it and destroy it");
    scan->require_subcommand(1);
    CLI::App* roundtrip = add_scan(scan, "roundtrip", "Send a message and wait for its return",
                                   "roundtrip_sensor", /*at_once=*/true);
    add_topic(roundtrip, "Topic to send to", false);
    CLI::App* statistics = add_scan(scan, "statistics", "Count the messages of a topic filter",
                                    "statistics_sensor", false);
    add_topic(statistics, "Topic filter, + and # allowed", true);
    add_custom(add_scan(scan, "custom", "Read values from the JSON messages of a topic",
                        "subscribe_custom_sensor", false));
    CLI::App* other = add_scan(scan, "sensor", "Any sensor of the module, by its name", "", false);
    other->add_option("name", scan_.kind, "The sensor's name (see info)")->required();
  }

  void add_topic(CLI::App* command, const char* help, bool required) {
    command->add_option("--topic", raw_.topic, help)
        ->type_name("TOPIC")
        ->check(not_empty)
        ->required(required);
  }

  void add_custom(CLI::App* command) {
    add_topic(command, "Topic to subscribe to", true);
    command
        ->add_option("--channel", raw_.channels,
                     "name=NAME,path=JSONPATH[,type=TYPE][,unit=UNIT][,scale=FACTOR], repeatable")
        ->type_name("CHANNEL")
        ->allow_extra_args(false)
        ->required();
    command->add_option("--message-path", raw_.message_path, "Where the sensor's message is")
        ->type_name("JSONPATH")
        ->check(not_empty);
    command->add_flag_callback(
        "--retain", [this] { set("retain_last_message", "retain", "--retain"); },
        "Repeat the last values when no message has come");
    command->add_flag_callback(
        "--duration", [this] { set(age_setting, "enable", "--duration"); },
        "Show the time since the last message");
    command
        ->add_option("--max-age", scan_.max_age_s,
                     "A last message that is older, or none at all, is an error; shows the time "
                     "since then")
        ->type_name("SECONDS")
        ->check(whole_number_check(1, longest_age_s));
  }

  CLI::App* add_scan(CLI::App* parent, const char* name, const char* help, const char* kind,
                     bool at_once) {
    CLI::App* command = add_connecting_command(*parent, name, help);
    add_interval(command, scan_interval);
    command->add_option("--scans", scan_.scans, "How many scans (1); 0: until Ctrl-C")
        ->type_name("NUMBER")
        ->check(whole_number_check(0, INT64_MAX));
    command->add_option("--id", scan_.id, "The sensor's number (1)")
        ->type_name("NUMBER")
        ->check(whole_number_check(INT32_MIN, INT32_MAX));
    command->add_flag("--require-checks", scan_.require_checks,
                      "Run the checks that the sensor requires first");
    command->add_option("--set", raw_.settings, "A value for any setting (see info), repeatable")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    command->parse_complete_callback([this, kind = std::string(kind), at_once] {
      finish_ = [this, kind, at_once] { return finish_scan(kind, at_once); };
    });
    return command;
  }

  command_options finish_scan(const std::string& kind, bool at_once) {
    scan_options result = scan_;
    if (!kind.empty()) {
      result.kind = kind;
    }
    result.at_once = at_once;
    result.interval = interval_or(scan_interval);
    if (raw_.topic) {
      result.settings.push_back({"topic", *raw_.topic, "--topic"});
    }
    if (!raw_.message_path.empty()) {
      result.settings.push_back({"message_path", raw_.message_path, "--message-path"});
    }
    const typed_options typed{app_.count("--host") != 0, app_.count("--ip") != 0,
                              app_.count("--timeout") != 0, !raw_.interval.empty()};
    for (const std::string& text : raw_.settings) {
      result.settings.push_back(parse_setting_option(text));
      take_common_setting(result.settings.back(), typed, common_.connection);
    }
    for (const std::string& text : raw_.channels) {
      result.channels.push_back(parse_channel_option(text));
    }
    const bool shows_age =
        std::any_of(result.settings.begin(), result.settings.end(),
                    [](const named_value& item) { return item.option == "--duration"; });
    if (result.max_age_s && !shows_age) {
      result.settings.push_back({age_setting, "enable", "--max-age"});
    }
    check_scan_inputs(result);
    return result;
  }

  void set(const char* name, const char* value, const char* option) {
    scan_.settings.push_back({name, value, option});
  }

  void add_notify() {
    CLI::App* command = add_command(app_, "notify", "Publish one notification");
    command->footer([this] { return describe(connection_group, "--ip") + describe(common_group); });
    command->add_option("--topic", notify_.topic, "Where to")
        ->type_name("TOPIC")
        ->check(not_empty)
        ->required();
    command->add_option("--message", notify_.message, "What it says")
        ->type_name("TEXT")
        ->required();
    command->add_option("--client-id", notify_.client_id, "MQTT client identifier (kavu_probe_)")
        ->type_name("TEXT");
    command->parse_complete_callback([this] {
      finish_ = [this] {
        if (raw_.ip != "auto") {
          throw usage_error("--ip has no effect on notify, which uses both versions of IP.");
        }
        check_publish_topic(notify_.topic);
        check_string("--client-id", notify_.client_id);
        return notify_;
      };
    });
  }

  static constexpr const char* common_group = "Every command";
  static constexpr const char* connection_group = "Connection";
  static constexpr const char* demo_interval = "3";
  static constexpr const char* scan_interval = "5";
  static constexpr const char* age_setting = "duration_since_last_message";
  static constexpr std::int64_t longest_age_s = 10LL * 365 * 24 * 3600;

  CLI::App app_;
  common_options common_;
  demo_options demo_;
  scan_options scan_;
  notify_options notify_;
  raw_texts raw_;
  std::function<command_options()> finish_;
};

}  // namespace

command_line_result read_command_line(int argument_count, const char* const* arguments) {
  return command_line().read(argument_count, arguments);
}

}  // namespace kavu_probe
