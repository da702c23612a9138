#include "mqtt/openssl_errors.hpp"

#include <openssl/err.h>

namespace brunvik::monitoring_modules::mqtt {

openssl_error_guard::openssl_error_guard() {
  ERR_set_mark();
}

openssl_error_guard::~openssl_error_guard() {
  ERR_pop_to_mark();
}

}  // namespace brunvik::monitoring_modules::mqtt
