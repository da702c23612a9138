#include "helpers/mqtt_peer.hpp"

#include <mosquitto.h>
#include <sys/socket.h>

#include <stdexcept>

namespace kavu_test {
namespace {

void require(int code, const std::string& what) {
  if (code != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error(what + ": " + mosquitto_strerror(code));
  }
}

// The library's set-up is process-wide and counted.
struct library {
  library() { mosquitto_lib_init(); }
  ~library() { mosquitto_lib_cleanup(); }
};

const char* null_if_empty(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

mqtt_peer* self(void* context) {
  return static_cast<mqtt_peer*>(context);
}

}  // namespace

mqtt_peer::mqtt_peer(const peer_options& options) : host_(options.host), port_(options.port) {
  static const library initialised;
  handle_ = mosquitto_new(null_if_empty(options.client_id), true, this);
  if (handle_ == nullptr) {
    throw std::runtime_error("mosquitto_new failed");
  }
  try {
    set_up(options);
  } catch (...) {
    mosquitto_destroy(handle_);
    throw;
  }
}

mqtt_peer::~mqtt_peer() {
  stop();
}

void mqtt_peer::set_up(const peer_options& options) {
  mosquitto_int_option(handle_, MOSQ_OPT_SEND_MAXIMUM, 65535);
  mosquitto_int_option(handle_, MOSQ_OPT_TCP_NODELAY, 1);
  mosquitto_reconnect_delay_set(handle_, 1, 1, false);
  if (!options.user.empty()) {
    require(mosquitto_username_pw_set(handle_, options.user.c_str(), options.password.c_str()),
            "mosquitto_username_pw_set");
  }
  if (!options.ca_file.empty()) {
    const auto ca = options.ca_file.string();
    const auto certificate = options.certificate_file.string();
    const auto key = options.key_file.string();
    require(mosquitto_tls_set(handle_, ca.c_str(), nullptr, null_if_empty(certificate),
                              null_if_empty(key), nullptr),
            "mosquitto_tls_set");
  }
  set_callbacks();
}

void mqtt_peer::set_callbacks() {
  mosquitto_connect_callback_set(handle_, [](mosquitto*, void* context, int answer) {
    mqtt_peer* peer = self(context);
    if (answer == 0) {
      peer->on_connected();
    }
    const std::lock_guard lock(peer->mutex_);
    peer->connect_answer_ = answer;
    peer->connected_ = answer == 0;
    peer->changed_.notify_all();
  });
  mosquitto_disconnect_callback_set(handle_, [](mosquitto*, void* context, int) {
    mqtt_peer* peer = self(context);
    const std::lock_guard lock(peer->mutex_);
    peer->connected_ = false;
    peer->changed_.notify_all();
  });
  mosquitto_publish_callback_set(handle_, [](mosquitto*, void* context, int packet_id) {
    self(context)->on_publish_acknowledged(packet_id);
  });
  mosquitto_subscribe_callback_set(
      handle_, [](mosquitto*, void* context, int packet_id, int count, const int* granted) {
        self(context)->on_subscribe_acknowledged(packet_id, count > 0 ? granted[0] : 128);
      });
  mosquitto_message_callback_set(handle_,
                                 [](mosquitto*, void* context, const mosquitto_message* message) {
                                   self(context)->on_message(*message);
                                 });
}

void mqtt_peer::start() {
  constexpr int keep_alive_seconds = 60;
  const std::string what = "connecting to port " + std::to_string(port_);
  require(mosquitto_connect(handle_, host_.c_str(), port_, keep_alive_seconds), what);
  // The library's own thread would try again and again without a word.
  const auto end = std::chrono::steady_clock::now() + default_deadline;
  while (connect_answer_ == no_answer_yet && std::chrono::steady_clock::now() < end) {
    const int code = mosquitto_loop(handle_, 100, 1);
    if (connect_answer_ == no_answer_yet) {
      require(code, what);
    }
  }
  if (connect_answer_ != 0) {
    throw std::runtime_error(what + ": " +
                             (connect_answer_ == no_answer_yet
                                  ? "no answer"
                                  : mosquitto_connack_string(connect_answer_)));
  }
  require(mosquitto_loop_start(handle_), "mosquitto_loop_start");
}

void mqtt_peer::stop() noexcept {
  if (handle_ != nullptr) {
    mosquitto_disconnect(handle_);
    // The library's thread ends when all is sent; a broker that stands still would keep it.
    const auto closed = [this] { return mosquitto_socket(handle_) == -1; };
    if (!eventually(closed, std::chrono::milliseconds(500))) {
      ::shutdown(mosquitto_socket(handle_), SHUT_RDWR);
    }
    mosquitto_loop_stop(handle_, false);
    mosquitto_destroy(handle_);
    handle_ = nullptr;
  }
}

bool mqtt_peer::connected() const {
  const std::lock_guard lock(mutex_);
  return connected_;
}

bool mqtt_peer::wait_until_connected(std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, deadline, [this] { return connected_; });
}

}  // namespace kavu_test
