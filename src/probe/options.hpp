#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// What the command line asks for, as plain values.
namespace kavu_probe {

enum class ip_version { automatic, ipv4, ipv6 };

inline constexpr std::int64_t longest_timeout_s = 24 * 3600;

struct connection_options {
  std::string host = "127.0.0.1";
  ip_version ip = ip_version::automatic;
  /// Not given: what the module declares as its default.
  std::optional<std::int64_t> port;
  std::int64_t timeout_s = 10;
  std::string user;
  std::string password_file;
  bool tls = false;
  std::string ca_file;
  std::string certificate_file;
  std::string key_file;
  std::string key_password_file;
};

struct common_options {
  /// Empty: the module that came with this program.
  std::string module_path;
  std::string language = "English";
  bool json = false;
  bool log = false;
  connection_options connection;
};

struct demo_options {
  std::int64_t scans = 3;
  std::chrono::nanoseconds interval{};
};

struct info_options {};

struct check_options {};

/// One channel of a sensor whose channels the user defines. What is not given stays at the
/// module's default.
struct channel_option {
  std::string name;
  std::string path;
  std::optional<std::string> type;
  std::optional<std::string> unit;
  std::optional<std::string> scale;
};

/// A value for a setting by its name in the definition document.
struct named_value {
  std::string name;
  std::string value;
  /// What was typed to give it, as messages name it ("--topic", "--set topic").
  std::string option = {};
};

struct scan_options {
  /// The sensor's name in the definition document.
  std::string kind;
  std::int32_t id = 1;
  std::chrono::nanoseconds interval{};
  /// 0: until a signal comes.
  std::int64_t scans = 1;
  /// Scan when the sensor has been created, not an interval later.
  bool at_once = false;
  bool require_checks = false;
  /// A result whose last message is older than this, or that knows of none, is an error.
  std::optional<std::int64_t> max_age_s;
  std::vector<named_value> settings;
  std::vector<channel_option> channels;
};

struct notify_options {
  std::string topic;
  std::string message;
  std::string client_id = "kavu_probe_";
};

using command_options =
    std::variant<demo_options, info_options, check_options, scan_options, notify_options>;

struct program_options {
  common_options common;
  command_options command;
};

}  // namespace kavu_probe
