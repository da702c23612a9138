#pragma once

#include <string>

#include "probe/options.hpp"
#include "probe/secret.hpp"

namespace kavu_probe {

/// The variable that holds the password when no file is named.
inline constexpr const char* password_variable = "KAVU_PROBE_PASSWORD";

/// What the files behind the connection options hold. Certificates are PEM text, as the module's
/// settings take them.
struct connection_credentials {
  secret password;
  std::string ca_certificate;
  std::string client_certificate;
  secret client_key;
  secret client_key_password;
};

/// Reads the files named by `options`, and the password's variable, which it then removes from
/// this process's environment so that no child inherits it.
///
/// Throws usage_error naming option and file when one cannot be read, is empty where content is
/// needed, or is larger than a certificate or password can be. One line end (LF or CR LF) at the
/// end of a password file is not part of the password; a file of several lines holds none.
connection_credentials read_credentials(const connection_options& options);

}  // namespace kavu_probe
