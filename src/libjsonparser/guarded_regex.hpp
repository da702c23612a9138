#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <string_view>

/// The standard library's regular expressions on text that somebody else has written.
///
/// They recurse for every character and may try exponentially many ways to match, so that a text of
/// a few dozen characters can keep a thread busy for years and one of some thousands can end the
/// process. Here the iterator with which the library reads the text watches over it.
namespace brunvik::monitoring_modules::libjsonparser {

/// Ends a search that would take too much. The text says what of.
class search_refused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What searches may use up between them. For the thread that made it.
class search_budget {
 public:
  /// Half of the stack that this thread has left, and well below a second of time.
  search_budget();

  /// Called for each character that is looked at. Throws `search_refused`.
  void spend();

 private:
  std::uint64_t steps_left_;
  std::uintptr_t lowest_frame_;
};

class guarded_iterator {
 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  guarded_iterator() = default;
  guarded_iterator(const char* position, search_budget& budget)
      : position_(position), budget_(&budget) {}

  reference operator*() const {
    budget_->spend();
    return *position_;
  }
  guarded_iterator& operator++() {
    ++position_;
    return *this;
  }
  guarded_iterator operator++(int) { return {position_++, *budget_}; }
  guarded_iterator& operator--() {
    --position_;
    return *this;
  }
  guarded_iterator operator--(int) { return {position_--, *budget_}; }
  friend bool operator==(const guarded_iterator& one, const guarded_iterator& other) {
    return one.position_ == other.position_;
  }

 private:
  const char* position_ = nullptr;
  search_budget* budget_ = nullptr;
};

/// A text as the library may read it.
struct guarded_text {
  guarded_text(std::string_view text, search_budget& budget)
      : begin(text.data(), budget), end(text.data() + text.size(), budget) {}
  guarded_iterator begin;
  guarded_iterator end;
};

}  // namespace brunvik::monitoring_modules::libjsonparser
