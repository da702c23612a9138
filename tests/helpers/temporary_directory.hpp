#pragma once

#include <filesystem>
#include <string_view>

namespace kavu_test {

/// A fresh directory that only this user can enter; it goes with the object, contents included.
class temporary_directory {
 public:
  temporary_directory();
  ~temporary_directory();
  temporary_directory(const temporary_directory&) = delete;
  temporary_directory& operator=(const temporary_directory&) = delete;

  const std::filesystem::path& path() const noexcept { return path_; }

  /// Writes a file (mode 600) into the directory and returns its path.
  std::filesystem::path write(std::string_view name, std::string_view content) const;

 private:
  std::filesystem::path path_;
};

}  // namespace kavu_test
