#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// Why the certificate of a TLS server is not to be trusted, in OpenSSL's words; empty when it is,
/// or when the server cannot be asked within `limit`.
///
/// The MQTT library says nothing when only the host's name does not fit, so somebody has to look.
/// Makes a connection of its own and ends it after the handshake. `ca_file` is a PEM file.
/// [any-thread]
std::string diagnose_certificate(const std::string& host, std::int64_t port,
                                 const std::string& ca_file, std::chrono::milliseconds limit);

}  // namespace brunvik::monitoring_modules::mqtt
