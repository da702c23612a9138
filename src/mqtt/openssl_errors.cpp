#include "mqtt/openssl_errors.hpp"

#include <openssl/err.h>

#include <system_error>

namespace brunvik::monitoring_modules::mqtt {

openssl_error_guard::openssl_error_guard() : began_empty_(ERR_peek_error() == 0) {
  ERR_set_mark();
}

openssl_error_guard::~openssl_error_guard() {
  ERR_pop_to_mark();
}

unsigned long openssl_error_guard::first_error() const {
  return began_empty_ ? ERR_peek_error() : ERR_peek_last_error();
}

std::string openssl_reason(unsigned long error) {
  if (ERR_SYSTEM_ERROR(error)) {
    return std::generic_category().message(ERR_GET_REASON(error));
  }
  const char* reason = ERR_reason_error_string(error);
  return reason == nullptr ? "unknown reason" : reason;
}

}  // namespace brunvik::monitoring_modules::mqtt
