#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// A server as its client knows it. The files are PEM; null where there is none.
struct examined_server {
  std::string host;     // which the certificate is for
  std::string address;  // of the host, as text without brackets
  std::int64_t port = 0;
  bool uses_tls = false;
  const char* ca_file = nullptr;           // without one every certificate will do
  const char* certificate_file = nullptr;  // the client's
  const char* key_file = nullptr;          // its key, if that is in a file of its own
  const char* pass_phrase = nullptr;       // of the key
};

/// How far one gets with a server. Nobody knows when there is no address to try, or when the server
/// refuses a further connection.
enum class reached { unknown, nothing, tcp, tls };

struct diagnosis {
  reached stage = reached::unknown;
  /// Why TLS has failed, one line for a person with OpenSSL's own words; empty when it has not, and
  /// when time was up.
  std::string fault;
};

/// Tries what the MQTT library has tried, up to where MQTT begins, and tells how far that led. The
/// library says hardly more than that it has failed, so somebody has to look.
///
/// Makes a connection of its own and ends it. Waits on the calling thread, at most until the
/// deadline, and no longer than until `given_up` says so, which is asked every few milliseconds.
/// [any-thread]
diagnosis diagnose_connection(const examined_server& server,
                              std::chrono::steady_clock::time_point deadline,
                              const std::function<bool()>& given_up);

}  // namespace brunvik::monitoring_modules::mqtt
