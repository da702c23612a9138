#pragma once

#include <filesystem>
#include <string>

#include "helpers/temporary_directory.hpp"

namespace kavu_test {

/// A certificate with its private key, as PEM text and as files (mode 600).
struct certificate {
  std::string pem;
  std::filesystem::path file;
  std::string key_pem;
  std::filesystem::path key_file;
  /// Opens the key; empty when it is not encrypted.
  std::string key_password;
};

/// Certificates for brokers on loopback and for their clients, with elliptic-curve keys. All are
/// signed by `authority` where nothing else is said. The files go when the program ends.
class certificates {
 public:
  /// Made at the first call, once per program. [any-thread]
  static const certificates& get();

  certificate authority;
  certificate other_authority;

  /// For 127.0.0.1, ::1 and localhost.
  certificate server;
  /// For broker.invalid only.
  certificate server_for_another_host;
  /// For 127.0.0.1, ::1 and localhost; it was valid until yesterday.
  certificate expired_server;
  /// The same, valid from tomorrow on.
  certificate future_server;
  /// For 127.0.0.1, ::1 and localhost; signed by `other_authority`.
  certificate server_of_other_authority;

  certificate client;
  /// Its key needs `key_password`.
  certificate client_with_encrypted_key;
  /// Signed by `other_authority`.
  certificate client_of_other_authority;

 private:
  certificates();

  temporary_directory directory_;
};

}  // namespace kavu_test
