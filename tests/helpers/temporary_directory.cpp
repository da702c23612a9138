#include "helpers/temporary_directory.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>
#include <system_error>

namespace kavu_test {

temporary_directory::temporary_directory() {
  std::string name = (std::filesystem::temp_directory_path() / "kavu_test_XXXXXX").string();
  // mkdtemp creates it with mode 700.
  if (::mkdtemp(name.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "mkdtemp " + name);
  }
  path_ = name;
}

temporary_directory::~temporary_directory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path temporary_directory::write(std::string_view name,
                                                 std::string_view content) const {
  const auto file = path_ / name;
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  ::chmod(file.c_str(), S_IRUSR | S_IWUSR);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!stream.flush()) {
    throw std::system_error(errno, std::generic_category(), "writing " + file.string());
  }
  return file;
}

}  // namespace kavu_test
