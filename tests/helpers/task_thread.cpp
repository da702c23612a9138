#include "helpers/task_thread.hpp"

namespace kavu_test {

task_thread::task_thread() : thread_([this] { loop(); }) {}

task_thread::~task_thread() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void task_thread::run(std::function<void()> task) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !task_; });
  task_ = std::move(task);
  changed_.notify_all();
}

void task_thread::loop() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return stopping_ || task_; });
    if (!task_) {
      return;
    }
    const auto task = std::exchange(task_, nullptr);
    changed_.notify_all();
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace kavu_test
