#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <typeindex>
#include <unordered_map>
#include <utility>

#include "kavuhelper/utils/exceptions.hpp"
#include "kavuhelper/utils/type_name.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// The shared objects of a service container, one per interface type, and its keyed maps.
///
/// Its mutex covers single look-ups and insertions; nothing is built or called under it, so that
/// finding what is there never waits. [any-thread]
class instance_store {
 public:
  struct instance_wrapper_base {
    virtual ~instance_wrapper_base() = default;
  };
  template <class I, class K, class H = std::hash<K>, class E = std::equal_to<>>
  class instance_map_wrapper;

  /// Null when there is none.
  template <class I>
  [[nodiscard]] std::shared_ptr<I> find() const {
    const std::lock_guard lock(mutex_);
    const auto found = wrappers_.find(typeid(I));
    return found == wrappers_.end()
               ? nullptr
               : static_cast<const instance_wrapper<I>&>(*found->second).instance;
  }

  /// Throws `instance_not_available`.
  template <class I>
  [[nodiscard]] std::shared_ptr<I> get() const {
    auto found = find<I>();
    if (!found) {
      throw utils::exceptions::instance_not_available(utils::type_name<I>());
    }
    return found;
  }

  /// Throws `already_contains_instance` and keeps the first; `instance_not_available` for null.
  template <class I>
  void add(std::shared_ptr<I> instance) {
    if (!instance) {
      throw utils::exceptions::instance_not_available(utils::type_name<I>());
    }
    auto wrapper = std::make_unique<instance_wrapper<I>>(std::move(instance));
    const std::lock_guard lock(mutex_);
    if (!wrappers_.try_emplace(typeid(I), std::move(wrapper)).second) {
      throw utils::exceptions::already_contains_instance(utils::type_name<I>());
    }
  }

  /// The keyed map of this type, empty at first. The reference lives as long as the store.
  template <class Map>
  [[nodiscard]] Map& map() {
    const std::lock_guard lock(mutex_);
    auto& wrapper = wrappers_[typeid(Map)];
    if (!wrapper) {
      wrapper = std::make_unique<Map>();
    }
    return static_cast<Map&>(*wrapper);
  }

  /// Instances and keyed maps.
  [[nodiscard]] std::size_t size() const {
    const std::lock_guard lock(mutex_);
    return wrappers_.size();
  }

 private:
  template <class I>
  struct instance_wrapper : instance_wrapper_base {
    explicit instance_wrapper(std::shared_ptr<I> i) : instance(std::move(i)) {}
    const std::shared_ptr<I> instance;
  };

  mutable std::mutex mutex_;
  // Guarded by mutex_.
  std::unordered_map<std::type_index, std::unique_ptr<instance_wrapper_base>> wrappers_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
