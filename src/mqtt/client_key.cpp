#include "mqtt/client_key.hpp"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>

#include "mqtt/exceptions.hpp"
#include "mqtt/openssl_errors.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

struct openssl_deleter {
  void operator()(BIO* bio) const { BIO_free(bio); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};

// Without such a function OpenSSL asks at the terminal.
int give_pass_phrase(char* buffer, int size, int /*writing*/, void* pass_phrase) {
  const auto& text = *static_cast<const std::string*>(pass_phrase);
  const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size));
  std::memcpy(buffer, text.data(), length);
  return static_cast<int>(length);
}

const char* last_reason() {
  const char* reason = ERR_reason_error_string(ERR_peek_last_error());
  return reason == nullptr ? "unknown reason" : reason;
}

}  // namespace

void require_readable_key(const std::string& file, const std::string& pass_phrase) {
  const openssl_error_guard guard;
  errno = 0;
  const std::unique_ptr<BIO, openssl_deleter> content(BIO_new_file(file.c_str(), "r"));
  if (content == nullptr) {
    const int error = errno;  // OpenSSL has a word of its own for some of them only
    throw exceptions::client_failure(
        "The client key could not be read: " +
        (error == 0 ? std::string(last_reason()) : std::generic_category().message(error)));
  }
  void* context = const_cast<std::string*>(&pass_phrase);  // only read
  const std::unique_ptr<EVP_PKEY, openssl_deleter> key(
      PEM_read_bio_PrivateKey(content.get(), nullptr, give_pass_phrase, context));
  if (key == nullptr) {
    throw exceptions::client_failure(
        std::string("The client key could not be read, or its pass phrase is wrong: ") +
        last_reason());
  }
}

}  // namespace brunvik::monitoring_modules::mqtt
