#include "probe/secret.hpp"

#include <string.h>

namespace kavu_probe {

void wipe(std::string& text) noexcept {
  // A moved-from short string still holds its bytes in place, hence the capacity.
  text.resize(text.capacity());
  explicit_bzero(text.data(), text.size());
  text.clear();
}

secret& secret::operator=(const secret& other) {
  if (this != &other) {
    wipe(text_);
    text_ = other.text_;
  }
  return *this;
}

secret& secret::operator=(secret&& other) noexcept {
  if (this != &other) {
    wipe(text_);
    text_ = std::move(other.text_);
    wipe(other.text_);
  }
  return *this;
}

}  // namespace kavu_probe
