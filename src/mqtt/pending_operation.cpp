#include "mqtt/pending_operation.hpp"

#include <cstdint>
#include <unordered_map>

namespace brunvik::monitoring_modules::mqtt {
namespace {

/// The library's code for a request that it drops because the connection has ended.
constexpr int discarded_with_connection = -11;

/// The operations that the library may still answer.
class operation_table {
 public:
  std::uintptr_t enter(const std::shared_ptr<pending_operation>& operation) {
    const std::lock_guard lock(mutex_);
    operations_.emplace(++last_, operation);
    return last_;
  }
  std::shared_ptr<pending_operation> find(std::uintptr_t number) {
    const std::lock_guard lock(mutex_);
    const auto found = operations_.find(number);
    return found == operations_.end() ? nullptr : found->second.lock();
  }
  void remove(std::uintptr_t number) {
    const std::lock_guard lock(mutex_);
    operations_.erase(number);
  }

 private:
  std::mutex mutex_;
  std::uintptr_t last_ = 0;
  std::unordered_map<std::uintptr_t, std::weak_ptr<pending_operation>> operations_;
};

operation_table& table() {
  static operation_table instance;
  return instance;
}

std::shared_ptr<pending_operation> find(void* context) {
  return table().find(reinterpret_cast<std::uintptr_t>(context));
}

}  // namespace

std::shared_ptr<pending_operation> pending_operation::begin() {
  std::shared_ptr<pending_operation> operation(new pending_operation);
  operation->number_ = table().enter(operation);
  return operation;
}

pending_operation::~pending_operation() {
  table().remove(number_);
}

void* pending_operation::context() const noexcept {
  return reinterpret_cast<void*>(number_);
}

void pending_operation::answer_success(void* context, int granted_qos) noexcept {
  if (const auto operation = find(context)) {
    operation->finish(state::succeeded, granted_qos, nullptr);
  }
}

void pending_operation::answer_failure(void* context, int code, const char* text) noexcept {
  if (const auto operation = find(context)) {
    const bool discarded = code == discarded_with_connection;
    operation->finish(discarded ? state::disconnected : state::failed, code, text);
  }
}

void pending_operation::finish(state end, int number, const char* text) noexcept {
  {
    const std::lock_guard lock(mutex_);
    if (state_ != state::running) {
      return;
    }
    state_ = end;
    result_ = number;
    try {
      text_ = text == nullptr ? "" : text;
    } catch (...) {
      text_.clear();
    }
  }
  ended_.notify_all();
}

pending_operation::state pending_operation::wait_for(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  ended_.wait_for(lock, limit, [&] { return state_ != state::running; });
  return state_;
}

pending_operation::state pending_operation::current() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

int pending_operation::granted_qos() const {
  const std::lock_guard lock(mutex_);
  return result_;
}

int pending_operation::failure_code() const {
  const std::lock_guard lock(mutex_);
  return result_;
}

std::string pending_operation::failure_text() const {
  const std::lock_guard lock(mutex_);
  return text_;
}

}  // namespace brunvik::monitoring_modules::mqtt
