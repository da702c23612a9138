#include "libstringutils/synchronized_random_string_generator.hpp"

#include <utility>

namespace brunvik::monitoring_modules::libstringutils {

synchronized_random_string_generator::synchronized_random_string_generator(
    std::unique_ptr<random_string_generator_interface> generator)
    : generator_(std::move(generator)) {}

void synchronized_random_string_generator::set_alphabet(const std::string& alphabet) {
  const std::lock_guard lock(mutex_);
  generator_->set_alphabet(alphabet);
}

std::string synchronized_random_string_generator::generate(std::uint64_t length) {
  const std::lock_guard lock(mutex_);
  return generator_->generate(length);
}

}  // namespace brunvik::monitoring_modules::libstringutils
