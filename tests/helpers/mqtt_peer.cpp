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

mosquitto* new_client(void* context) {
  static const library initialised;
  return mosquitto_new(nullptr, true, context);
}

}  // namespace

mqtt_peer::mqtt_peer(std::uint16_t port) : handle_(new_client(this)) {
  mosquitto_int_option(handle_, MOSQ_OPT_SEND_MAXIMUM, 65535);
  mosquitto_int_option(handle_, MOSQ_OPT_TCP_NODELAY, 1);
  mosquitto_reconnect_delay_set(handle_, 1, 1, false);
  set_callbacks();
  try {
    connect(port);
  } catch (...) {
    mosquitto_destroy(handle_);
    throw;
  }
}

mqtt_peer::~mqtt_peer() {
  mosquitto_disconnect(handle_);
  // The library's thread ends when all is sent; a broker that stands still would keep it.
  const auto closed = [this] { return mosquitto_socket(handle_) == -1; };
  if (!eventually(closed, std::chrono::milliseconds(500))) {
    ::shutdown(mosquitto_socket(handle_), SHUT_RDWR);
  }
  mosquitto_loop_stop(handle_, false);
  mosquitto_destroy(handle_);
}

// All of them run on the library's thread.
void mqtt_peer::set_callbacks() {
  static const auto with_lock = [](void* context, const auto& change) {
    auto& self = *static_cast<mqtt_peer*>(context);
    const std::lock_guard lock(self.mutex_);
    change(self);
    self.changed_.notify_all();
  };
  mosquitto_connect_callback_set(handle_, [](mosquitto* handle, void* context, int answer) {
    with_lock(context, [&](mqtt_peer& self) {
      self.connect_answer_ = answer;
      self.connected_ = answer == 0;
      for (const auto& [filter, qos] : self.filters_) {
        mosquitto_subscribe(handle, nullptr, filter.c_str(), qos);
      }
    });
  });
  mosquitto_disconnect_callback_set(handle_, [](mosquitto*, void* context, int) {
    with_lock(context, [](mqtt_peer& self) { self.connected_ = false; });
  });
  mosquitto_publish_callback_set(handle_, [](mosquitto*, void* context, int) {
    with_lock(context, [](mqtt_peer& self) { ++self.acknowledged_; });
  });
  mosquitto_subscribe_callback_set(
      handle_, [](mosquitto*, void* context, int packet_id, int, const int* granted) {
        with_lock(context, [&](mqtt_peer& self) { self.granted_[packet_id] = granted[0]; });
      });
  mosquitto_message_callback_set(
      handle_, [](mosquitto*, void* context, const mosquitto_message* message) {
        const auto* bytes = static_cast<const char*>(message->payload);
        with_lock(context, [&, now = std::chrono::steady_clock::now()](mqtt_peer& self) {
          self.messages_.push_back({message->topic,
                                    {bytes, bytes + message->payloadlen},
                                    message->qos,
                                    message->retain,
                                    now});
        });
      });
}

void mqtt_peer::connect(std::uint16_t port) {
  constexpr int keep_alive_seconds = 60;
  const std::string what = "connecting to port " + std::to_string(port);
  require(mosquitto_connect(handle_, "127.0.0.1", port, keep_alive_seconds), what);
  // The library's own thread would try again and again without a word.
  const auto end = std::chrono::steady_clock::now() + default_deadline;
  while (connect_answer_ < 0 && std::chrono::steady_clock::now() < end) {
    const int code = mosquitto_loop(handle_, 100, 1);
    if (connect_answer_ < 0) {
      require(code, what);
    }
  }
  if (connect_answer_ != 0) {
    throw std::runtime_error(
        what + ": " +
        (connect_answer_ < 0 ? "no answer" : mosquitto_connack_string(connect_answer_)));
  }
  require(mosquitto_loop_start(handle_), "mosquitto_loop_start");
}

bool mqtt_peer::wait_until_connected() {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, default_deadline, [this] { return connected_; });
}

void mqtt_peer::publish(std::string_view topic, std::string_view payload, int qos, bool retain,
                        std::chrono::milliseconds deadline) {
  publish_many({{std::string(topic), std::string(payload), qos, retain}}, deadline);
}

void mqtt_peer::publish_many(const std::vector<outgoing_message>& messages,
                             std::chrono::milliseconds deadline) {
  for (const auto& each : messages) {
    require(mosquitto_publish(handle_, nullptr, each.topic.c_str(),
                              static_cast<int>(each.payload.size()), each.payload.data(), each.qos,
                              each.retain),
            "publishing on " + each.topic.substr(0, 100));
    ++sent_;
  }
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, deadline, [this] { return acknowledged_ >= sent_; })) {
    throw std::runtime_error("the broker acknowledged " + std::to_string(acknowledged_) + " of " +
                             std::to_string(sent_) + " messages");
  }
}

int mqtt_peer::subscribe(const std::string& filter, int qos) {
  int packet_id = 0;
  const std::string what = "subscribing to " + filter.substr(0, 100);
  require(mosquitto_subscribe(handle_, &packet_id, filter.c_str(), qos), what);
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, default_deadline, [&] { return granted_.count(packet_id) != 0; })) {
    throw std::runtime_error(what + ": no answer");
  }
  filters_.insert_or_assign(filter, qos);
  return granted_.extract(packet_id).mapped();
}

std::vector<observed_message> mqtt_peer::messages() const {
  const std::lock_guard lock(mutex_);
  return messages_;
}

bool mqtt_peer::wait_for_messages(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, default_deadline, [&] { return messages_.size() >= count; });
}

}  // namespace kavu_test
