#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "kavuhelper/sensors/sensor_interface.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// The living sensors of a module, by id.
///
/// An id is taken from the moment it is reserved until its sensor has been destroyed. A sensor is
/// used by one thread at a time. The stock's own mutex is never held while a sensor runs or goes.
/// [any-thread]
class sensor_stock {
 private:
  struct entry;

 public:
  /// The right to use one sensor; ends with its destruction.
  class exclusive_use {
   public:
    [[nodiscard]] sensors::sensor_interface& sensor() const noexcept;

   private:
    friend class sensor_stock;
    explicit exclusive_use(std::shared_ptr<entry> used);

    std::shared_ptr<entry> entry_;
    std::unique_lock<std::mutex> lock_;
  };

  /// An id that is taken for a sensor that is going to be built. Gives the id back when it goes,
  /// unless the sensor has been added: then the id is the sensor's, and whoever reserves it after
  /// the sensor's end has a reservation of their own. The stock must outlive it.
  class reservation {
   public:
    ~reservation();
    reservation(reservation&&) = default;
    reservation(const reservation&) = delete;
    reservation& operator=(const reservation&) = delete;
    reservation& operator=(reservation&&) = delete;

   private:
    friend class sensor_stock;
    reservation(sensor_stock& stock, std::int32_t id, std::shared_ptr<entry> reserved);

    sensor_stock* stock_;
    std::int32_t id_;
    std::shared_ptr<entry> entry_;  // null once moved from
  };

  sensor_stock();
  /// Destroys all sensors. Nobody may be using one.
  ~sensor_stock();
  sensor_stock(const sensor_stock&) = delete;
  sensor_stock& operator=(const sensor_stock&) = delete;

  /// Takes an id for a sensor that is going to be built. Empty when it is taken.
  [[nodiscard]] std::optional<reservation> reserve(std::int32_t id);
  /// Puts a sensor under its id, which needs no reservation. Throws `sensor_already_registered`
  /// when the id has a sensor.
  void add_sensor(std::int32_t id, const std::shared_ptr<sensors::sensor_interface>& sensor);

  /// Waits until nobody else uses the sensor. Empty when there is none, it is only being built, or
  /// it is destroyed meanwhile.
  [[nodiscard]] std::optional<exclusive_use> acquire(std::int32_t id);

  /// Waits until nobody uses the sensor, and lets it go. Throws `sensor_not_in_sensor_stock` when
  /// there is none, it is only being built, or it is being destroyed already.
  void remove_sensor(std::int32_t id);

  /// Ids taken.
  [[nodiscard]] std::size_t size() const;

 private:
  void cancel(std::int32_t id, const std::shared_ptr<entry>& reserved) noexcept;
  [[nodiscard]] std::shared_ptr<entry> find_ready(std::int32_t id) const;  // or null; under mutex_

  mutable std::mutex mutex_;
  std::unordered_map<std::int32_t, std::shared_ptr<entry>> entries_;  // guarded by mutex_
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
