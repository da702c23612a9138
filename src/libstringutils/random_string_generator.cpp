#include "libstringutils/random_string_generator.hpp"

#include <utility>

#include "libstringutils/exceptions.hpp"

namespace brunvik::monitoring_modules::libstringutils {

const std::string& default_alphabet() {
  static const std::string alphabet =
      "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  return alphabet;
}

random_string_generator::random_string_generator(std::unique_ptr<number_generator> numbers,
                                                 std::string alphabet)
    : numbers_(std::move(numbers)) {
  random_string_generator::set_alphabet(alphabet);
}

void random_string_generator::set_alphabet(const std::string& alphabet) {
  if (alphabet.empty()) {
    throw exceptions::empty_alphabet();
  }
  alphabet_ = alphabet;
  numbers_->set_max(alphabet_.size() - 1);
}

std::string random_string_generator::generate(std::uint64_t length) {
  std::string result(length, alphabet_.front());
  for (auto& character : result) {
    character = alphabet_[numbers_->next()];
  }
  return result;
}

}  // namespace brunvik::monitoring_modules::libstringutils
