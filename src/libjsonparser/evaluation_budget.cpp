#include "libjsonparser/evaluation_budget.hpp"

#include <pthread.h>

#include <utility>

namespace brunvik::monitoring_modules::libjsonparser {

namespace {

// When the system does not tell: nearly every thread has this much left.
constexpr std::uintptr_t modest_stack = 64 * 1024;

struct stack_extent {
  std::uintptr_t lowest = 0;
  std::size_t size = 0;
};

stack_extent ask_for_stack() {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) {
    return {};
  }
  void* lowest = nullptr;
  std::size_t size = 0;
  const bool known = pthread_attr_getstack(&attributes, &lowest, &size) == 0;
  pthread_attr_destroy(&attributes);
  return known ? stack_extent{reinterpret_cast<std::uintptr_t>(lowest), size} : stack_extent{};
}

// Stacks grow downwards on every system that this runs on.
std::uintptr_t stack_left(std::uintptr_t frame) {
  thread_local const stack_extent stack = ask_for_stack();  // a file is read for the first thread
  const bool is_here = stack.lowest < frame && frame - stack.lowest <= stack.size;
  return is_here ? frame - stack.lowest : modest_stack;
}

}  // namespace

evaluation_budget::evaluation_budget()
    : lowest_frame_(frame() - stack_left(frame()) / 2), outer_(std::exchange(current_, this)) {}

evaluation_budget::~evaluation_budget() {
  current_ = outer_;
}

void evaluation_budget::require(std::size_t bytes) const {
  if (bytes_ < 0 || bytes > static_cast<std::size_t>(bytes_)) {
    throw evaluation_refused("Evaluating it on this document takes too much memory.");
  }
}

void evaluation_budget::refuse() const {
  if (bytes_ < 0) {
    require(0);
  }
  throw evaluation_refused(steps_ < 0 ? "Evaluating it on this document takes too long."
                                      : "Evaluating it on this document takes too much stack.");
}

}  // namespace brunvik::monitoring_modules::libjsonparser
