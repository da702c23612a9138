#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// A server as its client knows it.
struct tls_server {
  std::string host;     // which the certificate is for
  std::string address;  // of the host, as text without brackets
  std::int64_t port;
};

/// Why the certificate of a TLS server is not to be trusted, in OpenSSL's words; empty when it is,
/// or when the server cannot be asked before the deadline, or until `given_up` says so.
///
/// The MQTT library says nothing when only the host's name does not fit, so somebody has to look.
/// Makes a connection of its own and ends it after the handshake. `ca_file` is a PEM file.
/// [any-thread]
std::string diagnose_certificate(const tls_server& server, const std::string& ca_file,
                                 std::chrono::steady_clock::time_point deadline,
                                 const std::function<bool()>& given_up);

}  // namespace brunvik::monitoring_modules::mqtt
