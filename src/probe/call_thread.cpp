#include "probe/call_thread.hpp"

#include <utility>

namespace kavu_probe {

call_thread::call_thread(inbox& results) : results_(results), thread_([this] { run(); }) {}

call_thread::~call_thread() {
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void call_thread::start(std::function<std::int32_t()> call) {
  {
    const std::scoped_lock lock(mutex_);
    call_ = std::move(call);
  }
  changed_.notify_one();
}

// [own-thread]
void call_thread::run() noexcept {
  for (;;) {
    std::function<std::int32_t()> call;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return call_ || ending_; });
      if (ending_) {
        return;
      }
      call = std::exchange(call_, nullptr);
    }
    results_.put_end_of_call(call());
  }
}

}  // namespace kavu_probe
