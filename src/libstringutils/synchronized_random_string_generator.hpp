#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "libstringutils/random_string_generator.hpp"

namespace brunvik::monitoring_modules::libstringutils {

/// Lets many threads draw from one generator, each string drawn as a whole. [any-thread]
class synchronized_random_string_generator : public random_string_generator_interface {
 public:
  /// `generator` is not null.
  explicit synchronized_random_string_generator(
      std::unique_ptr<random_string_generator_interface> generator);

  void set_alphabet(const std::string& alphabet) override;
  std::string generate(std::uint64_t length) override;

 private:
  std::mutex mutex_;
  const std::unique_ptr<random_string_generator_interface> generator_;  // guarded by mutex_
};

}  // namespace brunvik::monitoring_modules::libstringutils
