#pragma once

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>

namespace kavu_test {

/// A thread that runs what it is given, one call after the other, and ends with the object.
class task_thread {
 public:
  task_thread();
  ~task_thread();
  task_thread(const task_thread&) = delete;
  task_thread& operator=(const task_thread&) = delete;

  /// Runs the function on the thread and returns, or throws, what it does. [any-thread]
  template <class Function>
  std::invoke_result_t<Function> call(Function function) {
    std::packaged_task<std::invoke_result_t<Function>()> task(std::move(function));
    auto result = task.get_future();
    run([&task] { task(); });
    return result.get();
  }

 private:
  void run(std::function<void()> task);
  void loop();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> task_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace kavu_test
