#include <MQTTAsync.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>

#include "flood.hpp"
#include "subscriber.hpp"

namespace kavu_bench {
namespace {

constexpr int subscription_qos = 2;
constexpr std::chrono::seconds longest_answer{10};

void require_success(int code) {
  if (code != MQTTASYNC_SUCCESS) {
    throw std::runtime_error("The MQTT library answers with " + std::to_string(code));
  }
}

class empty_subscriber final : public subscriber {
 public:
  explicit empty_subscriber(std::uint16_t port) {
    const std::string uri = "tcp://127.0.0.1:" + std::to_string(port);
    require_success(
        MQTTAsync_create(&handle_, uri.c_str(), "empty", MQTTCLIENT_PERSISTENCE_NONE, nullptr));
    require_success(MQTTAsync_setCallbacks(
        handle_, this, [](void*, char*) {}, on_message, nullptr));
    await_answer([this](std::promise<bool>& answer) {
      MQTTAsync_connectOptions options = MQTTAsync_connectOptions_initializer;
      options.onSuccess = on_success;
      options.onFailure = on_failure;
      options.context = &answer;
      return MQTTAsync_connect(handle_, &options);
    });
    await_answer([this](std::promise<bool>& answer) {
      MQTTAsync_responseOptions options = MQTTAsync_responseOptions_initializer;
      options.onSuccess = on_success;
      options.onFailure = on_failure;
      options.context = &answer;
      return MQTTAsync_subscribe(handle_, flood_filter, subscription_qos, &options);
    });
  }
  ~empty_subscriber() override { MQTTAsync_destroy(&handle_); }
  empty_subscriber(const empty_subscriber&) = delete;
  empty_subscriber& operator=(const empty_subscriber&) = delete;

  bool has_received(std::int64_t messages) override { return received() >= messages; }
  std::int64_t received() override { return received_.load(std::memory_order_relaxed); }

 private:
  static void on_success(void* answer, MQTTAsync_successData*) {
    static_cast<std::promise<bool>*>(answer)->set_value(true);
  }
  static void on_failure(void* answer, MQTTAsync_failureData*) {
    static_cast<std::promise<bool>*>(answer)->set_value(false);
  }
  static int on_message(void* context, char* topic, int, MQTTAsync_message* message) {
    // All messages come on one thread, so this is no more than an ordinary addition.
    auto& received = static_cast<empty_subscriber*>(context)->received_;
    received.store(received.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    MQTTAsync_freeMessage(&message);
    MQTTAsync_free(topic);
    return 1;
  }

  template <class Request>
  static void await_answer(Request&& request) {
    // Outlives an answer that comes too late.
    static std::promise<bool> answers[2];
    static std::size_t next = 0;
    auto& answer = answers[next++ % 2];
    answer = {};
    auto granted = answer.get_future();
    require_success(request(answer));
    if (granted.wait_for(longest_answer) != std::future_status::ready || !granted.get()) {
      throw std::runtime_error("The broker refuses the empty subscriber.");
    }
  }

  MQTTAsync handle_ = nullptr;
  std::atomic<std::int64_t> received_{0};
};

}  // namespace

std::unique_ptr<subscriber> make_empty_subscriber(std::uint16_t port) {
  return std::make_unique<empty_subscriber>(port);
}

std::unique_ptr<subscriber> make_untraced_empty_subscriber(std::uint16_t port) {
  MQTTAsync_setTraceLevel(MQTTASYNC_TRACE_ERROR);
  return std::make_unique<empty_subscriber>(port);
}

}  // namespace kavu_bench
