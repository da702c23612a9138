#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace brunvik::monitoring_modules::mqtt {

/// One request to the library whose answer somebody waits for.
///
/// The library answers through callbacks that get nothing but a pointer; what they get is the
/// operation's number, by which it is found in a table of the process. So an answer that comes
/// after the operation has been given up finds nothing, and touches nothing that is gone.
///
/// The first end counts, whichever it is. [any-thread]
class pending_operation {
 public:
  enum class state { running, succeeded, failed, disconnected, given_up };

  /// Makes an operation and enters it in the table.
  static std::shared_ptr<pending_operation> begin();
  /// What the library is given, to hand to `answered`.
  [[nodiscard]] void* context() const noexcept;

  /// The library's answers; unknown contexts are ignored. [client-thread]
  static void answer_success(void* context, int granted_qos) noexcept;
  static void answer_failure(void* context, int code, const char* text) noexcept;

  /// The connection is gone, and with it the answer.
  void disconnected() noexcept { finish(state::disconnected, 0, nullptr); }
  /// Nobody waits for it any more.
  void give_up() noexcept { finish(state::given_up, 0, nullptr); }

  /// Waits until it has ended, at most `limit`, and tells how it stands.
  state wait_for(std::chrono::milliseconds limit);
  [[nodiscard]] state current() const;
  /// Whether it has ended with an answer, be it a refusal.
  [[nodiscard]] bool is_answered() const {
    const auto now = current();
    return now == state::succeeded || now == state::failed;
  }

  /// The library's number for it, for the log; 0 until the library has taken the request.
  [[nodiscard]] int token() const noexcept { return token_; }
  void set_token(int token) noexcept { token_ = token; }

  /// With `succeeded`: what the broker granted a subscription.
  [[nodiscard]] int granted_qos() const;
  /// With `failed`: the library's code and its words, which may be missing.
  [[nodiscard]] int failure_code() const;
  [[nodiscard]] std::string failure_text() const;

  ~pending_operation();
  pending_operation(const pending_operation&) = delete;
  pending_operation& operator=(const pending_operation&) = delete;

 private:
  pending_operation() = default;
  void finish(state end, int number, const char* text) noexcept;

  std::atomic<int> token_{0};
  std::uintptr_t number_ = 0;  // its place in the table; never 0 once entered

  mutable std::mutex mutex_;  // guards all below
  std::condition_variable ended_;
  state state_ = state::running;
  int result_ = 0;
  std::string text_;
};

}  // namespace brunvik::monitoring_modules::mqtt
