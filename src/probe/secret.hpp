#pragma once

#include <string>
#include <utility>

namespace kavu_probe {

/// Overwrites `text` and empties it. Best effort: earlier copies that the string has given up
/// while it grew are out of reach.
void wipe(std::string& text) noexcept;

/// A text that is overwritten before its memory is freed. Not for sharing between threads.
class secret {
 public:
  secret() = default;
  explicit secret(std::string text) : text_(std::move(text)) {}
  secret(const secret&) = default;
  secret(secret&& other) noexcept : text_(std::move(other.text_)) { wipe(other.text_); }
  secret& operator=(const secret& other);
  secret& operator=(secret&& other) noexcept;
  ~secret() { wipe(text_); }

  const std::string& text() const noexcept { return text_; }
  bool empty() const noexcept { return text_.empty(); }

 private:
  std::string text_;
};

}  // namespace kavu_probe
