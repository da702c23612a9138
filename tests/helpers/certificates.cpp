#include "helpers/certificates.hpp"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>
#include <string_view>

namespace kavu_test {
namespace {

template <auto Free>
struct freed_by {
  template <class Object>
  void operator()(Object* object) const {
    Free(object);
  }
};
using key_pointer = std::unique_ptr<EVP_PKEY, freed_by<EVP_PKEY_free>>;
using certificate_pointer = std::unique_ptr<X509, freed_by<X509_free>>;
using extension_pointer = std::unique_ptr<X509_EXTENSION, freed_by<X509_EXTENSION_free>>;
using bio_pointer = std::unique_ptr<BIO, freed_by<BIO_free_all>>;

void require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string(what) + ": " + ERR_error_string(ERR_get_error(), nullptr));
  }
}

struct signer {
  key_pointer key;
  certificate_pointer certificate;
};

struct request {
  std::string common_name;
  /// Of the subject alternative names; none for a certificate that is not a server's.
  std::string names = {};
  std::string key_usage = {};
  bool is_authority = false;
  long valid_from_day = -1;  // from today
  long valid_to_day = 10;
};

void add_extension(X509* target, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, target, nullptr, nullptr, 0);
  const extension_pointer extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  require(extension != nullptr, value.c_str());
  require(X509_add_ext(target, extension.get(), -1) == 1, "X509_add_ext");
}

void set_identity(X509* target, const request& wanted) {
  X509_set_version(target, X509_VERSION_3);
  long number = 0;
  RAND_bytes(reinterpret_cast<unsigned char*>(&number), sizeof number);
  ASN1_INTEGER_set(X509_get_serialNumber(target), number & 0x7fffffffffff);
  constexpr long day = 24L * 60 * 60;
  X509_gmtime_adj(X509_getm_notBefore(target), wanted.valid_from_day * day);
  X509_gmtime_adj(X509_getm_notAfter(target), wanted.valid_to_day * day);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(target), "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(wanted.common_name.c_str()), -1,
                             -1, 0);
}

/// Without a signer it signs itself.
signer make(const request& wanted, const signer* by) {
  signer made{key_pointer(EVP_EC_gen("P-256")), certificate_pointer(X509_new())};
  require(made.key != nullptr && made.certificate != nullptr, "EVP_EC_gen");
  X509* target = made.certificate.get();
  X509* issuer = by == nullptr ? target : by->certificate.get();
  set_identity(target, wanted);
  X509_set_issuer_name(target, X509_get_subject_name(issuer));
  X509_set_pubkey(target, made.key.get());
  add_extension(target, issuer, NID_basic_constraints,
                wanted.is_authority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  add_extension(target, issuer, NID_subject_key_identifier, "hash");
  add_extension(target, issuer, NID_authority_key_identifier, "keyid");
  if (wanted.is_authority) {
    add_extension(target, issuer, NID_key_usage, "critical,keyCertSign,cRLSign");
  }
  if (!wanted.key_usage.empty()) {
    add_extension(target, issuer, NID_ext_key_usage, wanted.key_usage);
  }
  if (!wanted.names.empty()) {
    add_extension(target, issuer, NID_subject_alt_name, wanted.names);
  }
  EVP_PKEY* key = by == nullptr ? made.key.get() : by->key.get();
  require(X509_sign(target, key, EVP_sha256()) > 0, "X509_sign");
  return made;
}

std::string content(BIO* bio) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio, &data);
  return {data, static_cast<std::size_t>(size)};
}

certificate store(const signer& made, const temporary_directory& directory, const std::string& name,
                  const std::string& password = {}) {
  certificate stored;
  const bio_pointer text(BIO_new(BIO_s_mem()));
  require(PEM_write_bio_X509(text.get(), made.certificate.get()) == 1, "PEM_write_bio_X509");
  stored.pem = content(text.get());
  const bio_pointer key_text(BIO_new(BIO_s_mem()));
  require(PEM_write_bio_PKCS8PrivateKey(key_text.get(), made.key.get(),
                                        password.empty() ? nullptr : EVP_aes_256_cbc(),
                                        password.empty() ? nullptr : password.c_str(),
                                        static_cast<int>(password.size()), nullptr, nullptr) == 1,
          "PEM_write_bio_PKCS8PrivateKey");
  stored.key_pem = content(key_text.get());
  stored.key_password = password;
  stored.file = directory.write(name + ".crt", stored.pem);
  stored.key_file = directory.write(name + ".key", stored.key_pem);
  return stored;
}

}  // namespace

const certificates& certificates::get() {
  static const certificates made;
  return made;
}

certificates::certificates() {
  const std::string here = "IP:127.0.0.1,IP:::1,DNS:localhost";
  const std::string server_use = "serverAuth";
  const std::string client_use = "clientAuth";
  const signer first = make({.common_name = "Test authority", .is_authority = true}, nullptr);
  const signer second = make({.common_name = "Other authority", .is_authority = true}, nullptr);
  authority = store(first, directory_, "authority");
  other_authority = store(second, directory_, "other_authority");

  const request local{.common_name = "localhost", .names = here, .key_usage = server_use};
  server = store(make(local, &first), directory_, "server");
  server_of_other_authority = store(make(local, &second), directory_, "server_of_other_authority");
  request expired = local;
  expired.valid_from_day = -10;
  expired.valid_to_day = -1;
  expired_server = store(make(expired, &first), directory_, "expired_server");
  request future = local;
  future.valid_from_day = 1;
  future_server = store(make(future, &first), directory_, "future_server");
  server_for_another_host = store(
      make(
          {.common_name = "broker.invalid", .names = "DNS:broker.invalid", .key_usage = server_use},
          &first),
      directory_, "server_for_another_host");

  const request user{.common_name = "client", .key_usage = client_use};
  client = store(make(user, &first), directory_, "client");
  client_with_encrypted_key =
      store(make(user, &first), directory_, "client_with_encrypted_key", "pass phrase of the key");
  client_of_other_authority = store(make(user, &second), directory_, "client_of_other_authority");
}

}  // namespace kavu_test
