#pragma once

#include <random>

namespace brunvik::monitoring_modules::libstringutils {

/// Draws evenly spread whole numbers. Not for cryptographic use, and for one thread at a time.
template <class T>
class random_number_generator_interface {
 public:
  random_number_generator_interface() = default;
  random_number_generator_interface(const random_number_generator_interface&) = delete;
  random_number_generator_interface& operator=(const random_number_generator_interface&) = delete;
  virtual ~random_number_generator_interface() = default;

  /// From now on numbers come from 0 to `upper_bound`, both included.
  virtual void set_max(T upper_bound) = 0;
  virtual T next() = 0;
};

/// Seeded once, at construction, from the system's random device.
template <class T>
class random_number_generator : public random_number_generator_interface<T> {
 public:
  /// Throws what `std::random_device` throws when there is no such device.
  explicit random_number_generator(T upper_bound)
      : device_("default"), engine_(device_()), range_(0, upper_bound) {}

  void set_max(T upper_bound) override {
    range_ = std::uniform_int_distribution<T>(0, upper_bound);
  }
  T next() override { return range_(engine_); }

 private:
  std::random_device device_;
  std::minstd_rand0 engine_;
  std::uniform_int_distribution<T> range_;
};

}  // namespace brunvik::monitoring_modules::libstringutils
