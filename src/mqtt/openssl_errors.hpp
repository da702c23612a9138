#pragma once

namespace brunvik::monitoring_modules::mqtt {

/// Takes back what is added to OpenSSL's error queue of this thread in its life: it is not the
/// business of whoever uses OpenSSL next.
class openssl_error_guard {
 public:
  openssl_error_guard();
  ~openssl_error_guard();
  openssl_error_guard(const openssl_error_guard&) = delete;
  openssl_error_guard& operator=(const openssl_error_guard&) = delete;
};

}  // namespace brunvik::monitoring_modules::mqtt
