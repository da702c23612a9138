#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>

/// What evaluating an expression on a document may take.
///
/// Who publishes a document and who writes an expression can make evaluation take as long and as
/// much memory as they like, in more ways than anyone can list. So nothing is forbidden: whatever
/// an evaluation does, it pays for. It pays with steps of one to five nanoseconds each in a release
/// build, for visits, comparisons, characters and copies alike, and with the memory that it holds.
namespace brunvik::monitoring_modules::libjsonparser {

/// Less than 0.7 seconds on a machine of today, whatever they are spent on, and mostly 0.3; three
/// times as much in a debug build.
inline constexpr std::int64_t most_steps = 100'000'000;

/// In bytes, beyond the document. With what the heap loses between them it stays below 64 MiB.
inline constexpr std::int64_t most_memory = 60 * 1024 * 1024;

/// Ends an evaluation that would take too much. The text says what of.
class evaluation_refused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Counts for the thread that made it, until it is destroyed. An inner one replaces an outer one.
class evaluation_budget {
 public:
  /// Half of the stack that this thread has left, and the bounds above.
  evaluation_budget();
  ~evaluation_budget();
  evaluation_budget(const evaluation_budget&) = delete;
  evaluation_budget& operator=(const evaluation_budget&) = delete;

  /// The one that counts on this thread; null while nothing is evaluated.
  [[nodiscard]] static evaluation_budget* current() noexcept { return current_; }

  /// Throws `evaluation_refused` when anything is used up.
  void spend(std::size_t steps = 1) {
    count(steps);
    if (is_used_up() || frame() < lowest_frame_) {
      refuse();
    }
  }

  /// Throws `evaluation_refused` when there is not as much memory left. Takes nothing.
  void require(std::size_t bytes) const;

  // For those that must not throw: what they use up ends the evaluation at the next `spend`.

  void count(std::size_t steps) noexcept { steps_ -= static_cast<std::int64_t>(steps); }
  void give_back(std::int64_t steps) noexcept { steps_ += steps; }
  [[nodiscard]] std::int64_t steps_left() const noexcept { return steps_; }
  void allocated(std::size_t bytes) noexcept {
    bytes_ -= static_cast<std::int64_t>(bytes);
    count(steps_of_allocation + bytes / bytes_of_step);
  }
  void freed(std::size_t bytes) noexcept { bytes_ += static_cast<std::int64_t>(bytes); }
  [[nodiscard]] bool is_used_up() const noexcept { return steps_ < 0 || bytes_ < 0; }

  /// Characters that are read or written one after the other cost so much less than visits.
  static constexpr std::size_t bytes_of_step = 16;

 private:
  static constexpr std::size_t steps_of_allocation = 6;

  static std::uintptr_t frame() {
    return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  }
  [[noreturn]] void refuse() const;

  inline static constinit thread_local evaluation_budget* current_ = nullptr;

  std::int64_t steps_ = most_steps;
  std::int64_t bytes_ = most_memory;
  std::uintptr_t lowest_frame_;
  evaluation_budget* const outer_;
};

/// For what runs only while an expression is evaluated.
inline void spend(std::size_t steps = 1) {
  evaluation_budget::current()->spend(steps);
}

/// What `make` returns. Its memory counts, its steps do not: for room that is not filled.
template <class Make>
auto without_steps(Make&& make) {
  struct restored {
    evaluation_budget* budget = evaluation_budget::current();
    std::int64_t before = budget == nullptr ? 0 : budget->steps_left();
    ~restored() {
      if (budget != nullptr) {
        budget->give_back(before - budget->steps_left());
      }
    }
  } const steps;
  return make();
}

/// Reading or writing a text.
inline void spend_on_text(std::size_t size) {
  spend(1 + size / evaluation_budget::bytes_of_step);
}

/// Makes the memory of JSON values count. It does not throw on its own account: the library
/// allocates where it must not fail.
template <class T>
class counted_allocator {
 public:
  using value_type = T;

  counted_allocator() = default;
  template <class Other>
  counted_allocator(const counted_allocator<Other>& /*other*/) noexcept {}

  T* allocate(std::size_t count) {
    T* const place = std::allocator<T>().allocate(count);
    if (auto* const budget = evaluation_budget::current()) {
      budget->allocated(count * sizeof(T) + overhead);
    }
    return place;
  }
  void deallocate(T* place, std::size_t count) noexcept {
    std::allocator<T>().deallocate(place, count);
    if (auto* const budget = evaluation_budget::current()) {
      budget->freed(count * sizeof(T) + overhead);
    }
  }
  friend bool operator==(const counted_allocator& /*one*/, const counted_allocator& /*other*/) {
    return true;
  }

 private:
  static constexpr std::size_t overhead = 16;  // the heap's own
};

}  // namespace brunvik::monitoring_modules::libjsonparser
