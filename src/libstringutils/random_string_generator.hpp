#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "libstringutils/random_number_generator.hpp"

namespace brunvik::monitoring_modules::libstringutils {

/// Makes random text, for identifiers that must not collide by accident. Not for secrets.
class random_string_generator_interface {
 public:
  random_string_generator_interface() = default;
  random_string_generator_interface(const random_string_generator_interface&) = delete;
  random_string_generator_interface& operator=(const random_string_generator_interface&) = delete;
  virtual ~random_string_generator_interface() = default;

  /// The characters that later strings are made of. Throws `empty_alphabet` and keeps the one
  /// before if there are none.
  virtual void set_alphabet(const std::string& alphabet) = 0;

  /// A text of exactly `length` characters.
  virtual std::string generate(std::uint64_t length) = 0;
};

/// The digits, the small and the capital letters of ASCII, in this order.
[[nodiscard]] const std::string& default_alphabet();

/// One draw of the number generator per character. For one thread at a time: whoever shares one
/// between threads wraps it in a `synchronized_random_string_generator`.
class random_string_generator : public random_string_generator_interface {
 public:
  using number_generator = random_number_generator_interface<std::uint64_t>;

  /// Takes the number generator over and sets its range to the alphabet's. `numbers` is not null.
  /// Throws `empty_alphabet`.
  random_string_generator(std::unique_ptr<number_generator> numbers, std::string alphabet);

  void set_alphabet(const std::string& alphabet) override;
  std::string generate(std::uint64_t length) override;

 private:
  std::unique_ptr<number_generator> numbers_;
  std::string alphabet_;
};

}  // namespace brunvik::monitoring_modules::libstringutils
