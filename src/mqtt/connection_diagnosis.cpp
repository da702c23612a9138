#include "mqtt/connection_diagnosis.hpp"

#include <netdb.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "mqtt/numeric_address.hpp"
#include "mqtt/openssl_errors.hpp"

namespace brunvik::monitoring_modules::mqtt {

using namespace std::chrono_literals;

namespace {

using clock = std::chrono::steady_clock;

/// How long a server may take to refuse a client's certificate after the handshake.
constexpr auto longest_afterthought = 500ms;

struct openssl_deleter {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(BIO* bio) const { BIO_free_all(bio); }
};
using context_ptr = std::unique_ptr<SSL_CTX, openssl_deleter>;
using bio_ptr = std::unique_ptr<BIO, openssl_deleter>;

/// What the server has said and asked for.
struct conversation {
  bool wants_certificate = false;
  int alert = -1;
};

// [own-thread]: OpenSSL calls on the thread that shakes hands.
int note_certificate_request(SSL* /*tls*/, void* context) {
  static_cast<conversation*>(context)->wants_certificate = true;
  return 1;
}
void note_alert(const SSL* tls, int where, int value) {
  if (where == SSL_CB_READ_ALERT && (value >> 8) == SSL3_AL_FATAL) {
    static_cast<conversation*>(SSL_get_app_data(tls))->alert = value & 0xff;
  }
}

/// One look at a server.
class examination {
 public:
  examination(const examined_server& server, clock::time_point deadline,
              const std::function<bool()>& given_up)
      : server_(server), deadline_(deadline), given_up_(given_up) {}

  diagnosis run() {
    diagnosis found;
    bio_ptr connection = connect();
    if (connection == nullptr) {
      found.stage = was_refused_ ? reached::unknown : reached::nothing;
      return found;
    }
    found.stage = reached::tcp;
    if (server_.uses_tls && shake_hands(std::move(connection), found.fault)) {
      found.stage = reached::tls;
    }
    return found;
  }

 private:
  // OpenSSL's own way to connect goes round in circles until the system gives up (3.0).
  bio_ptr connect() {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (getaddrinfo(server_.address.c_str(), std::to_string(server_.port).c_str(), &hints,
                    &found) != 0) {
      return nullptr;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> address(found, freeaddrinfo);
    const int descriptor =
        socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
      return nullptr;
    }
    bio_ptr connection(BIO_new_socket(descriptor, BIO_CLOSE));
    if (connection == nullptr) {
      close(descriptor);
      return nullptr;
    }
    const bool connected =
        ::connect(descriptor, address->ai_addr, address->ai_addrlen) == 0 ||
        (errno == EINPROGRESS && is_writable_in_time(descriptor) && is_sound(descriptor));
    return connected ? std::move(connection) : nullptr;
  }

  bool is_writable_in_time(int descriptor) const {
    while (clock::now() < deadline_ && !given_up_()) {
      if (wait(descriptor, POLLOUT)) {
        return true;
      }
    }
    return false;
  }

  bool is_sound(int descriptor) {
    int error = 0;
    socklen_t length = sizeof error;
    const bool known = getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length) == 0;
    was_refused_ = error == ECONNREFUSED;
    return known && error == 0;
  }

  static bool wait(int descriptor, short awaited) {
    constexpr int slice_ms = 20;
    pollfd waiting{descriptor, awaited, 0};
    return poll(&waiting, descriptor < 0 ? 0 : 1, slice_ms) == 1;
  }

  bool shake_hands(bio_ptr connection, std::string& fault) {
    const context_ptr context = make_context(fault);
    if (context == nullptr) {
      return false;
    }
    bio_ptr encrypted(BIO_new_ssl(context.get(), 1));
    SSL* tls = nullptr;
    if (encrypted == nullptr || BIO_get_ssl(encrypted.get(), &tls) != 1 || tls == nullptr) {
      return false;
    }
    SSL_set_app_data(tls, &heard_);
    BIO_push(encrypted.get(), connection.release());
    // Of an address too, as the library does it.
    SSL_set_tlsext_host_name(tls, without_brackets(server_.host).c_str());
    errno = 0;
    const bool shaken =
        repeat(encrypted.get(), deadline_, [&] { return BIO_do_handshake(encrypted.get()); }) > 0;
    if (shaken && !is_for_host(tls)) {
      fault =
          distrust(parse_address(without_brackets(server_.host)) ? X509_V_ERR_IP_ADDRESS_MISMATCH
                                                                 : X509_V_ERR_HOSTNAME_MISMATCH);
      return false;
    }
    if (shaken && heard_.wants_certificate) {
      // As of TLS 1.3 the server looks at the client's certificate when the handshake is over.
      char nothing = 0;
      repeat(encrypted.get(), std::min(deadline_, clock::now() + longest_afterthought),
             [&] { return BIO_read(encrypted.get(), &nothing, 1); });
    }
    const bool in_time = clock::now() < deadline_ && !given_up_();
    if (heard_.alert >= 0 || (!shaken && in_time)) {
      fault = explain(tls, errno);
      return false;
    }
    return shaken;
  }

  context_ptr make_context(std::string& fault) {
    context_ptr context(SSL_CTX_new(TLS_client_method()));
    if (context == nullptr) {
      return nullptr;
    }
    fault = use_files(context.get());
    if (!fault.empty()) {
      return nullptr;
    }
    SSL_CTX_set_verify(context.get(),
                       server_.ca_file == nullptr ? SSL_VERIFY_NONE : SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_cert_cb(context.get(), note_certificate_request, &heard_);
    SSL_CTX_set_info_callback(context.get(), note_alert);
    return context;
  }

  std::string use_files(SSL_CTX* context) const {
    const auto because = [&](const char* what) {
      return std::string(what) + ": " + openssl_reason(guard_.first_error());
    };
    if (server_.ca_file != nullptr &&
        SSL_CTX_load_verify_locations(context, server_.ca_file, nullptr) != 1) {
      return because("The CA certificate cannot be used");
    }
    if (server_.certificate_file == nullptr) {
      return {};
    }
    if (SSL_CTX_use_certificate_chain_file(context, server_.certificate_file) != 1) {
      return because("The client certificate cannot be used");
    }
    const char* key = server_.key_file == nullptr ? server_.certificate_file : server_.key_file;
    // Without one, be it empty, OpenSSL asks at the terminal.
    const char* pass_phrase = server_.pass_phrase == nullptr ? "" : server_.pass_phrase;
    SSL_CTX_set_default_passwd_cb_userdata(context, const_cast<char*>(pass_phrase));
    const bool fits = SSL_CTX_use_PrivateKey_file(context, key, SSL_FILETYPE_PEM) == 1 &&
                      SSL_CTX_check_private_key(context) == 1;
    return fits ? std::string() : because("The client key does not fit the client certificate");
  }

  // As the library does it: a name, which may look like an address, and then an address.
  bool is_for_host(SSL* tls) const {
    if (server_.ca_file == nullptr) {
      return true;
    }
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(SSL_get1_peer_certificate(tls),
                                                                  X509_free);
    const std::string host = without_brackets(server_.host);
    return certificate != nullptr &&
           (X509_check_host(certificate.get(), host.data(), host.size(), 0, nullptr) == 1 ||
            X509_check_ip_asc(certificate.get(), host.c_str(), 0) == 1);
  }

  static std::string distrust(long verdict) {
    return std::string("The broker's certificate is not trusted: ") +
           X509_verify_cert_error_string(verdict);
  }

  // Asks again for as long as OpenSSL says that it is a matter of waiting.
  template <class Step>
  long repeat(BIO* connection, clock::time_point deadline, Step&& step) {
    for (;;) {
      const long result = step();
      if (result > 0 || BIO_should_retry(connection) == 0 || clock::now() >= deadline ||
          given_up_()) {
        return result;
      }
      int descriptor = -1;
      BIO_get_fd(connection, &descriptor);
      wait(descriptor, BIO_should_read(connection) != 0 ? POLLIN : POLLOUT);
    }
  }

  std::string explain(SSL* tls, int system_error) const {
    const long verdict = SSL_get_verify_result(tls);
    if (server_.ca_file != nullptr && verdict != X509_V_OK) {
      return distrust(verdict);
    }
    if (heard_.alert >= 0) {
      const auto words =
          openssl_reason(ERR_PACK(ERR_LIB_SSL, 0, SSL_AD_REASON_OFFSET + heard_.alert));
      if (!heard_.wants_certificate) {
        return "The broker refuses the TLS handshake: " + words;
      }
      return (server_.certificate_file == nullptr ? "The broker requires a client certificate: "
                                                  : "The broker refuses the client certificate: ") +
             words;
    }
    const unsigned long error = guard_.first_error();
    const std::string words = error != 0          ? openssl_reason(error)
                              : system_error != 0 ? std::generic_category().message(system_error)
                                                  : "the broker closes the connection";
    // Whoever does not speak TLS answers with something else, or hangs up.
    return SSL_get_current_cipher(tls) == nullptr &&
                   ERR_GET_REASON(error) != SSL_R_UNSUPPORTED_PROTOCOL
               ? "The broker does not answer with TLS, its port may be one without: " + words
               : "The TLS handshake fails: " + words;
  }

  const openssl_error_guard guard_;
  const examined_server& server_;
  const clock::time_point deadline_;
  const std::function<bool()>& given_up_;
  conversation heard_;
  bool was_refused_ = false;
};

}  // namespace

diagnosis diagnose_connection(const examined_server& server, clock::time_point deadline,
                              const std::function<bool()>& given_up) {
  return examination(server, deadline, given_up).run();
}

}  // namespace brunvik::monitoring_modules::mqtt
