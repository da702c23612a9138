#include "mqtt/certificate_diagnosis.hpp"

#include <openssl/bio.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>

#include <memory>

#include "mqtt/numeric_address.hpp"
#include "mqtt/openssl_errors.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using clock = std::chrono::steady_clock;

struct openssl_deleter {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(BIO* bio) const { BIO_free_all(bio); }
};
using context_ptr = std::unique_ptr<SSL_CTX, openssl_deleter>;
using bio_ptr = std::unique_ptr<BIO, openssl_deleter>;

context_ptr make_context(const std::string& ca_file) {
  context_ptr context(SSL_CTX_new(TLS_client_method()));
  if (context == nullptr ||
      SSL_CTX_load_verify_locations(context.get(), ca_file.c_str(), nullptr) != 1) {
    return nullptr;
  }
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
  return context;
}

void expect_host(SSL* tls, const std::string& host) {
  if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(tls), host.c_str()) != 1) {
    SSL_set1_host(tls, host.c_str());
    SSL_set_tlsext_host_name(tls, host.c_str());
  }
}

// It does not matter how the handshake ends, only that it does.
void shake_hands(BIO* connection, clock::time_point deadline,
                 const std::function<bool()>& given_up) {
  constexpr int slice_ms = 20;
  while (BIO_do_handshake(connection) <= 0 && BIO_should_retry(connection) &&
         clock::now() < deadline && !given_up()) {
    int descriptor = -1;
    BIO_get_fd(connection, &descriptor);
    const short awaited = BIO_should_read(connection) != 0 ? POLLIN : POLLOUT;
    pollfd waiting{descriptor, awaited, 0};
    poll(&waiting, descriptor < 0 ? 0 : 1, slice_ms);
  }
}

}  // namespace

std::string diagnose_certificate(const tls_server& server, const std::string& ca_file,
                                 clock::time_point deadline,
                                 const std::function<bool()>& given_up) {
  const openssl_error_guard guard;
  const auto context = make_context(ca_file);
  if (context == nullptr) {
    return {};
  }
  const bio_ptr connection(BIO_new_ssl_connect(context.get()));
  SSL* tls = nullptr;
  if (connection == nullptr || BIO_get_ssl(connection.get(), &tls) != 1 || tls == nullptr) {
    return {};
  }
  BIO_set_conn_hostname(connection.get(), with_brackets(server.address).c_str());
  BIO_set_conn_port(connection.get(), std::to_string(server.port).c_str());
  BIO_set_nbio(connection.get(), 1);
  expect_host(tls, without_brackets(server.host));
  shake_hands(connection.get(), deadline, given_up);
  const long verdict = SSL_get_verify_result(tls);
  return verdict == X509_V_OK ? std::string() : X509_verify_cert_error_string(verdict);
}

}  // namespace brunvik::monitoring_modules::mqtt
