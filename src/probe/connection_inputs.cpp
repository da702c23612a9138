#include "probe/connection_inputs.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "probe/connection_settings.hpp"
#include "probe/failure.hpp"
#include "probe/option_text.hpp"
#include "probe/topic_rules.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

// RFC 1035, section 2.3.4.
constexpr std::size_t longest_name = 255;
constexpr std::int64_t longest_interval_s = 365LL * 24 * 3600;

bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

/// Letters and digits, what stands between them, and all that is not ASCII.
bool may_stand_in_name(char character) {
  const bool letter =
      (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
  return letter || is_digit(character) || character == '-' || character == '.' ||
         character == '_' || static_cast<unsigned char>(character) >= 0x80;
}

/// The interface of an IPv6 address, behind its percent sign (RFC 4007).
std::string_view zone_of(std::string_view address) {
  const std::size_t percent = address.find('%');
  if (percent == std::string_view::npos) {
    return {};
  }
  const std::string_view zone = address.substr(percent + 1);
  return zone.ends_with(']') ? zone.substr(0, zone.size() - 1) : zone;
}

/// "name:1883" and "[::1]:1883".
bool ends_with_port(std::string_view host) {
  const std::size_t colon = host.rfind(':');
  if (colon == std::string_view::npos || colon + 1 == host.size() ||
      !std::all_of(host.begin() + static_cast<std::ptrdiff_t>(colon) + 1, host.end(), is_digit)) {
    return false;
  }
  const std::string_view head = host.substr(0, colon);
  return head.find(':') == std::string_view::npos || (head.front() == '[' && head.back() == ']');
}

/// Why `host` is neither a name nor an address, as the end of a sentence that began with it.
std::optional<std::string> find_host_fault(const std::string& host) {
  if (host.empty()) {
    return "must not be empty";
  }
  if (valid_utf8(host) != host) {
    return "is not UTF-8";
  }
  const bool literal = make_host_address(host).version != ip_version::automatic;
  const std::string_view name = literal ? zone_of(host) : host;
  if (name.size() > longest_name) {
    return fmt::format("has {} bytes, more than {}", name.size(), longest_name);
  }
  if (name.find("://") != std::string_view::npos) {
    return "is a URL; give the name or the address alone";
  }
  if (ends_with_port(name)) {
    return "holds a port; give it with --port";
  }
  if (name.find_first_of("[]:") != std::string_view::npos) {
    return "is neither a name nor an IPv6 address";
  }
  const auto stranger = std::find_if_not(name.begin(), name.end(), may_stand_in_name);
  if (stranger != name.end()) {
    return fmt::format("holds \"{}\", which is no part of a name or an address",
                       printable({&*stranger, 1}));
  }
  return std::nullopt;
}

void check_host(std::string_view option, const std::string& host) {
  if (const auto fault = find_host_fault(host)) {
    throw usage_error(fmt::format("{} \"{}\" {}.", option, quotable(host), *fault));
  }
}

void check_needs(const connection_options& given) {
  const auto need = [](bool with, const char* option, bool other, const char* needed) {
    if (with && !other) {
      throw usage_error(fmt::format("{} needs {}.", option, needed));
    }
  };
  need(!given.password_file.empty(), "--password-file", !given.user.empty(), "--user");
  need(!given.ca_file.empty(), "--ca", given.tls, "--tls");
  need(!given.certificate_file.empty(), "--cert", given.tls, "--tls");
  need(!given.key_file.empty(), "--key", !given.certificate_file.empty(), "--cert");
  need(!given.key_password_file.empty(), "--key-password-file", !given.certificate_file.empty(),
       "--cert");
}

void check_address_version(const connection_options& given) {
  const ip_version address = make_host_address(given.host).version;
  if (given.ip != ip_version::automatic && address != ip_version::automatic &&
      address != given.ip) {
    throw usage_error(fmt::format("{} is an address of the other version than IPv{}.", given.host,
                                  given.ip == ip_version::ipv4 ? 4 : 6));
  }
}

[[noreturn]] void refuse(const named_value& item, std::string_view expected) {
  throw usage_error(
      fmt::format("{} \"{}\": expected {}.", item.option, quotable(item.value), expected));
}

/// The value as a number, which `least` and `most` bound.
std::int64_t take_number(const named_value& item, std::int64_t least, std::int64_t most) {
  if (!whole_number_check(least, most)(item.value).empty()) {
    refuse(item, fmt::format("a whole number from {} to {}", least, most));
  }
  return std::stoll(item.value);
}

void refuse_both(bool typed, std::string_view option, const named_value& item) {
  if (typed) {
    throw usage_error(fmt::format("{} and {} are the same setting.", option, item.option));
  }
}

}  // namespace

void check_connection_inputs(const connection_options& options) {
  check_needs(options);
  check_host("--host", options.host);
  check_address_version(options);
  check_string("--user", options.user);
}

void take_common_setting(named_value& item, const typed_options& typed,
                         connection_options& connection) {
  if (item.name == "host") {
    refuse_both(typed.host, "--host", item);
    check_host(item.option, item.value);
    connection.host = item.value;
    item.value = make_host_address(item.value).text;
  } else if (item.name == "ipversion") {
    refuse_both(typed.ip, "--ip", item);
    if (item.value != "IPv4" && item.value != "IPv6") {
      refuse(item, "IPv4 or IPv6");
    }
    connection.ip = item.value == "IPv4" ? ip_version::ipv4 : ip_version::ipv6;
  } else if (item.name == "timeout") {
    refuse_both(typed.timeout, "--timeout", item);
    connection.timeout_s = take_number(item, 0, longest_timeout_s);
  } else if (item.name == "interval") {
    refuse_both(typed.interval, "--interval", item);
    take_number(item, 1, longest_interval_s);
  } else if (item.name == "logging" && item.value != "enabled" && item.value != "disabled") {
    refuse(item, "enabled or disabled");
  }
}

}  // namespace kavu_probe
