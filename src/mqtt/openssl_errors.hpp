#pragma once

#include <openssl/err.h>

namespace brunvik::monitoring_modules::mqtt {

/// What fails here is not the business of whoever uses OpenSSL next on this thread.
struct openssl_error_guard {
  openssl_error_guard() { ERR_set_mark(); }
  ~openssl_error_guard() { ERR_pop_to_mark(); }
  openssl_error_guard(const openssl_error_guard&) = delete;
  openssl_error_guard& operator=(const openssl_error_guard&) = delete;
};

}  // namespace brunvik::monitoring_modules::mqtt
