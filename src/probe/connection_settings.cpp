#include "probe/connection_settings.hpp"

#include "probe/ip_version.hpp"

namespace kavu_probe {

host_address make_host_address(const std::string& host) {
  const ip_version version = literal_version(host);
  if (version == ip_version::ipv6) {
    return {"[" + host + "]", version};
  }
  if (host.size() > 2 && host.front() == '[' && host.back() == ']' &&
      literal_version(host.substr(1, host.size() - 2)) == ip_version::ipv6) {
    return {host, ip_version::ipv6};
  }
  return {host, version};
}

void set_connection(settings_builder& builder, const connection_options& options,
                    const connection_credentials& credentials) {
  if (options.port) {
    builder.set("port", std::to_string(*options.port), "--port");
  }
  if (!options.user.empty()) {
    builder.set("user_credentials.active", "yes", "--user");
    builder.set("user_credentials.user", options.user, "--user");
    builder.set("user_credentials.password", credentials.password.text(), "--password-file");
  }
  if (!options.tls) {
    return;
  }
  builder.set("tls.active", "yes", "--tls");
  if (!credentials.ca_certificate.empty()) {
    builder.set("tls.server_auth_active", "yes", "--ca");
    builder.set("tls.ca_certificate", credentials.ca_certificate, "--ca");
  }
  if (!credentials.client_certificate.empty()) {
    builder.set("tls.client_auth_active", "yes", "--cert");
    builder.set("tls.client_certificate", credentials.client_certificate, "--cert");
    builder.set("tls.client_key", credentials.client_key.text(), "--key");
    builder.set("tls.client_key_password", credentials.client_key_password.text(),
                "--key-password-file");
  }
}

void add_common_settings(settings_builder& builder, const connection_options& options, bool logging,
                         std::chrono::nanoseconds interval) {
  const host_address host = make_host_address(options.host);
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(interval).count();
  builder.add("host", host.text);
  builder.add("logging", logging ? "enabled" : "disabled");
  builder.add("timeout", std::to_string(options.timeout_s));
  builder.add_secret("brunvikcloudapikey", secret());
  const ip_version version = options.ip == ip_version::automatic ? host.version : options.ip;
  builder.add("ipversion", version == ip_version::ipv6 ? "IPv6" : "IPv4");
  builder.add("interval", std::to_string(seconds));
}

}  // namespace kavu_probe
