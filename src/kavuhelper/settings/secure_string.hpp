#pragma once

#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace brunvik::monitoring_modules::libkavuhelper::settings {

/// A secret text: its memory is wiped before it is freed, and it cannot be printed.
///
/// A value like any other otherwise: copies are independent, a moved-from one is empty. Whoever
/// needs the text says so with `reveal` and wipes what he copies from there.
class secure_string {
 public:
  secure_string() noexcept = default;
  explicit secure_string(std::string_view text) : size_(text.size()) {
    if (size_ > 0) {
      bytes_ = std::make_unique<char[]>(size_);
      std::memcpy(bytes_.get(), text.data(), size_);
    }
  }
  secure_string(const secure_string& other) : secure_string(other.reveal()) {}
  secure_string(secure_string&& other) noexcept
      : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {}
  secure_string& operator=(const secure_string& other) {
    if (this != &other) {
      *this = secure_string(other);
    }
    return *this;
  }
  secure_string& operator=(secure_string&& other) noexcept {
    if (this != &other) {
      wipe();
      bytes_ = std::move(other.bytes_);
      size_ = std::exchange(other.size_, 0);
    }
    return *this;
  }
  ~secure_string() { wipe(); }

  /// The text; valid until this object changes or goes. Not terminated.
  [[nodiscard]] std::string_view reveal() const noexcept { return {bytes_.get(), size_}; }

  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  /// Bytes.
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

  bool operator==(const secure_string& other) const noexcept { return reveal() == other.reveal(); }

  friend std::ostream& operator<<(std::ostream&, const secure_string&) = delete;

 private:
  void wipe() noexcept {
    if (size_ > 0) {
      explicit_bzero(bytes_.get(), size_);
    }
  }

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
};

/// Overwrites what `text` holds, its spare room included, and empties it.
inline void wipe(std::string& text) noexcept {
  text.resize(text.capacity());
  explicit_bzero(text.data(), text.size());
  text.clear();
}

}  // namespace brunvik::monitoring_modules::libkavuhelper::settings
