#include "mqtt/pem_file.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "mqtt/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

[[noreturn]] void throw_system_failure() {
  const int error = errno;
  throw exceptions::client_failure("A certificate could not be handed to the MQTT library: " +
                                   std::generic_category().message(error));
}

}  // namespace

pem_file::pem_file(std::string_view pem_text_or_path) {
  if (pem_text_or_path.find("-----BEGIN") == std::string_view::npos) {
    name_ = pem_text_or_path;
    return;
  }
  descriptor_ = memfd_create("kavu-pem", MFD_CLOEXEC);
  if (descriptor_ < 0) {
    throw_system_failure();
  }
  try {
    write_anonymous(pem_text_or_path);
    name_ = "/proc/self/fd/" + std::to_string(descriptor_);
  } catch (...) {
    close(descriptor_);
    throw;
  }
}

void pem_file::write_anonymous(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor_, text.data(), text.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      throw_system_failure();
    }
    size_ += static_cast<std::size_t>(written);
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

// A child that was forked in between may still have the file open: leave it nothing to read.
pem_file::~pem_file() {
  if (descriptor_ < 0) {
    return;
  }
  constexpr std::array<char, 4096> zeros{};
  for (std::size_t at = 0; at < size_;) {
    const ssize_t written = pwrite(descriptor_, zeros.data(), std::min(zeros.size(), size_ - at),
                                   static_cast<off_t>(at));
    if (written <= 0) {
      break;
    }
    at += static_cast<std::size_t>(written);
  }
  close(descriptor_);
}

}  // namespace brunvik::monitoring_modules::mqtt
