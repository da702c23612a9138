#pragma once

#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// Takes back what is added to OpenSSL's error queue of this thread in its life: it is not the
/// business of whoever uses OpenSSL next.
class openssl_error_guard {
 public:
  openssl_error_guard();
  ~openssl_error_guard();
  openssl_error_guard(const openssl_error_guard&) = delete;
  openssl_error_guard& operator=(const openssl_error_guard&) = delete;

  /// The error that all others have come from, as far as that is known; 0 when there is none.
  [[nodiscard]] unsigned long first_error() const;

 private:
  const bool began_empty_;
};

/// OpenSSL's words for an error, or the system's for one of those.
std::string openssl_reason(unsigned long error);

}  // namespace brunvik::monitoring_modules::mqtt
