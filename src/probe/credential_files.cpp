#include "probe/credential_files.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <fcntl.h>
#include <cstdlib>
#include <cstring>

#include "probe/failure.hpp"
#include "probe/topic_rules.hpp"
#include "probe/utf8.hpp"

namespace kavu_probe {
namespace {

constexpr std::size_t largest_pem = 1024 * 1024;
// What a length field of MQTT 3.1.1 can hold (section 1.5.3).
constexpr std::size_t largest_password = 65535;
constexpr std::size_t longest_line_end = 2;

class open_file {
 public:
  explicit open_file(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  open_file(const open_file&) = delete;
  open_file& operator=(const open_file&) = delete;
  ~open_file() {
    if (fd_ >= 0) {
      close(fd_);
    }
  }
  int fd() const { return fd_; }

 private:
  int fd_;
};

[[noreturn]] void fail(std::string_view option, const std::string& path, std::string_view why) {
  throw usage_error(fmt::format("{} \"{}\": {}.", option, quotable(path), why));
}

secret read_file(std::string_view option, const std::string& path, std::size_t largest) {
  const open_file file(path);
  if (file.fd() < 0) {
    fail(option, path, std::strerror(errno));
  }
  // Never grown, so that no copy of a secret is left behind by a reallocation.
  std::string content(largest + 1, '\0');
  std::size_t length = 0;
  while (length < content.size()) {
    const ssize_t count = read(file.fd(), content.data() + length, content.size() - length);
    if (count < 0 && errno != EINTR) {
      const int failure = errno;
      wipe(content);
      fail(option, path, std::strerror(failure));
    }
    if (count == 0) {
      break;
    }
    length += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  content.resize(length);
  secret result(std::move(content));
  if (length > largest) {
    fail(option, path, fmt::format("it is larger than {} bytes", largest));
  }
  return result;
}

secret read_password(std::string_view option, const std::string& path) {
  const secret content = read_file(option, path, largest_password + longest_line_end);
  std::string_view text = content.text();
  for (const std::string_view end_of_line : {"\r\n", "\n"}) {
    if (text.ends_with(end_of_line)) {
      text.remove_suffix(end_of_line.size());
      break;
    }
  }
  if (text.find_first_of("\r\n") != std::string_view::npos) {
    fail(option, path,
         "it holds several lines, and a password is one (whose end, LF or CR LF, is cut off)");
  }
  if (text.empty()) {
    fail(option, path, "it is empty");
  }
  return secret(std::string(text));
}

secret read_pem(std::string_view option, const std::string& path) {
  secret content = read_file(option, path, largest_pem);
  if (content.text().find("-----BEGIN ") == std::string::npos) {
    fail(option, path, "it holds no PEM text");
  }
  return content;
}

secret take_password_variable() {
  char* const value = std::getenv(password_variable);
  if (value == nullptr) {
    return {};
  }
  secret password{std::string(value)};
  explicit_bzero(value, std::strlen(value));
  unsetenv(password_variable);
  return password;
}

}  // namespace

connection_credentials read_credentials(const connection_options& options) {
  connection_credentials result;
  result.password = take_password_variable();
  if (!options.password_file.empty()) {
    result.password = read_password("--password-file", options.password_file);
    check_string("The password in --password-file", result.password.text());
  } else if (!options.user.empty()) {
    check_string(password_variable, result.password.text());
  }
  if (!options.ca_file.empty()) {
    result.ca_certificate = read_pem("--ca", options.ca_file).text();
  }
  if (!options.certificate_file.empty()) {
    result.client_certificate = read_pem("--cert", options.certificate_file).text();
  }
  if (!options.key_file.empty()) {
    result.client_key = read_pem("--key", options.key_file);
  }
  if (!options.key_password_file.empty()) {
    result.client_key_password = read_password("--key-password-file", options.key_password_file);
  }
  return result;
}

}  // namespace kavu_probe
