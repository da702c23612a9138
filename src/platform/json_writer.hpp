#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace brunvik::monitoring_modules::platform {

/// Writes JSON text whatever bytes it is given: what is not UTF-8 becomes U+FFFD, a number that
/// JSON cannot show becomes null.
class json_writer {
 public:
  void begin_object() { open('{'); }
  void end_object() { close('}'); }
  void begin_array() { open('['); }
  void end_array() { close(']'); }
  /// The name of the member that comes next.
  void key(std::string_view name);

  void value(std::string_view text);
  void value(std::int64_t number);
  void value(double number);

  template <class T>
  void member(std::string_view name, const T& content) {
    key(name);
    value(content);
  }

  /// What has been written. The writer is empty afterwards.
  [[nodiscard]] std::string take() { return std::move(text_); }

 private:
  void open(char bracket);
  void close(char bracket);
  void separate();
  void quote(std::string_view text);

  std::string text_;
  bool needs_comma_ = false;
};

}  // namespace brunvik::monitoring_modules::platform
