#include "probe/demo/mosquitto_connection.hpp"

#include <fmt/format.h>
#include <mosquitto.h>

#include <chrono>

#include "probe/failure.hpp"

namespace kavu_probe {
namespace {

constexpr std::chrono::seconds patience{5};
constexpr int keep_alive_s = 60;
constexpr int refused = 0x80;

void initialise_library() {
  // For the life of the process: the library counts no references.
  static const int initialised = mosquitto_lib_init();
  static_cast<void>(initialised);
}

[[noreturn]] void fail(const char* what, int code) {
  throw probe_error(
      fmt::format("The plant cannot {} its broker: {}.", what, mosquitto_strerror(code)));
}

}  // namespace

mosquitto_connection::mosquitto_connection(const std::string& client_id, std::uint16_t port,
                                           message_handler handler)
    : handler_(std::move(handler)), handle_(nullptr) {
  initialise_library();
  handle_ = mosquitto_new(client_id.c_str(), true, this);
  if (handle_ == nullptr) {
    fail("connect to", MOSQ_ERR_NOMEM);
  }
  mosquitto_connect_callback_set(handle_, &on_connect);
  mosquitto_subscribe_callback_set(handle_, &on_subscribe);
  mosquitto_message_callback_set(handle_, &on_message);
  int code = mosquitto_connect(handle_, "127.0.0.1", port, keep_alive_s);
  if (code == MOSQ_ERR_SUCCESS) {
    code = mosquitto_loop_start(handle_);
  }
  if (code == MOSQ_ERR_SUCCESS) {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, patience, [this] { return connect_code_ == 0; })) {
      return;
    }
    code = MOSQ_ERR_CONN_REFUSED;
  }
  release();
  fail("connect to", code);
}

mosquitto_connection::~mosquitto_connection() {
  release();
}

void mosquitto_connection::release() noexcept {
  mosquitto_disconnect(handle_);
  mosquitto_loop_stop(handle_, false);
  mosquitto_destroy(handle_);
}

void mosquitto_connection::subscribe(const std::string& filter) {
  int id = 0;
  const int code = mosquitto_subscribe(handle_, &id, filter.c_str(), 0);
  if (code != MOSQ_ERR_SUCCESS) {
    fail("subscribe at", code);
  }
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, patience, [this, id] { return granted_subscription_ == id; })) {
    fail("subscribe at", MOSQ_ERR_CONN_REFUSED);
  }
}

bool mosquitto_connection::publish(const std::string& topic, std::string_view payload) noexcept {
  return mosquitto_publish(handle_, nullptr, topic.c_str(), static_cast<int>(payload.size()),
                           payload.data(), 0, false) == MOSQ_ERR_SUCCESS;
}

// The three callbacks come on the library's thread.

void mosquitto_connection::on_connect(mosquitto* /*handle*/, void* self, int code) noexcept {
  auto& connection = *static_cast<mosquitto_connection*>(self);
  {
    const std::scoped_lock lock(connection.mutex_);
    connection.connect_code_ = code;
  }
  connection.changed_.notify_all();
}

void mosquitto_connection::on_subscribe(mosquitto* /*handle*/, void* self, int id, int count,
                                        const int* granted) noexcept {
  auto& connection = *static_cast<mosquitto_connection*>(self);
  if (count == 1 && granted[0] < refused) {
    const std::scoped_lock lock(connection.mutex_);
    connection.granted_subscription_ = id;
  }
  connection.changed_.notify_all();
}

void mosquitto_connection::on_message(mosquitto* /*handle*/, void* self,
                                      const mosquitto_message* message) noexcept {
  const auto length = static_cast<std::size_t>(message->payloadlen);
  try {
    static_cast<mosquitto_connection*>(self)->handler_(
        message->topic, {static_cast<const char*>(message->payload), length});
  } catch (...) {
    // Out of memory: the message is lost, the library's thread must go on.
  }
}

}  // namespace kavu_probe
