#pragma once

#include <string>
#include <string_view>

namespace brunvik::monitoring_modules::mqtt {

/// A certificate or key as the MQTT library wants it: under a file name, which it opens at every
/// connection attempt.
///
/// PEM text is put into an anonymous file in memory that has a name only within this process and
/// lives as long as this object; it is never on a disk. Anything else is taken for a path.
class pem_file {
 public:
  /// Throws `exceptions::client_failure` when no anonymous file is to be had. An empty `text` or
  /// path gives an empty name.
  explicit pem_file(std::string_view pem_text_or_path);
  ~pem_file();

  pem_file(const pem_file&) = delete;
  pem_file& operator=(const pem_file&) = delete;

  /// The name to open; null when there is nothing to open.
  [[nodiscard]] const char* name() const noexcept {
    return name_.empty() ? nullptr : name_.c_str();
  }

 private:
  void write_anonymous(std::string_view text);

  int descriptor_ = -1;
  std::size_t size_ = 0;
  std::string name_;
};

}  // namespace brunvik::monitoring_modules::mqtt
