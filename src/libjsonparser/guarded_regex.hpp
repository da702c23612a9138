#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

#include "libjsonparser/evaluation_budget.hpp"

/// The standard library's regular expressions on text that somebody else has written.
///
/// They recurse for every character and may try exponentially many ways to match, so that a text of
/// a few dozen characters can keep a thread busy for years and one of some thousands can end the
/// process. Here the iterator with which the library reads the text watches over it.
namespace brunvik::monitoring_modules::libjsonparser {

// Measured (g++ 12, -O2; a debug build takes twice as much): compiling takes 420 bytes of stack per
// parenthesis, searching 320 per character and up to 2,600 where it has nested groups.

/// In bytes, for an expression with `=~` or `tokenize`, and for a pattern once its counts are
/// written out.
inline constexpr std::size_t longest_expression_with_regex = 512;

/// In bytes: no longer string is searched.
inline constexpr std::size_t longest_searched_string = 8192;

/// How many characters, sets, groups and alternatives a pattern has once its counts are written
/// out: 9 for "(ab){2}c". The library does write them out, so "a{9999}" takes megabytes. Too large
/// rather than too small for what is no pattern. Throws `evaluation_refused` where one group refers
/// to another, as in "(a)\1".
[[nodiscard]] std::size_t written_out(std::string_view pattern);

class guarded_iterator {
 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  guarded_iterator() = default;
  guarded_iterator(const char* position, std::size_t steps) : position_(position), steps_(steps) {}

  reference operator*() const {
    spend(steps_);
    return *position_;
  }
  guarded_iterator& operator++() {
    ++position_;
    return *this;
  }
  guarded_iterator operator++(int) { return {position_++, steps_}; }
  guarded_iterator& operator--() {
    --position_;
    return *this;
  }
  guarded_iterator operator--(int) { return {position_--, steps_}; }
  // Counts as well: at the end of the text the library compares and reads nothing.
  friend bool operator==(const guarded_iterator& one, const guarded_iterator& other) {
    if (one.steps_ != 0) {
      spend(one.steps_);
    }
    return one.position_ == other.position_;
  }

 private:
  const char* position_ = nullptr;
  std::size_t steps_ = 0;
};

/// A text as the library may read it for a pattern of that many parts.
struct guarded_text {
  guarded_text(std::string_view text, std::size_t parts)
      : begin(text.data(), 2 + parts / 2), end(text.data() + text.size(), 2 + parts / 2) {}
  guarded_iterator begin;
  guarded_iterator end;
};

}  // namespace brunvik::monitoring_modules::libjsonparser
