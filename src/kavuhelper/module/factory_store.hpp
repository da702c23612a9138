#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <typeindex>
#include <unordered_map>
#include <utility>

#include "kavuhelper/utils/exceptions.hpp"
#include "kavuhelper/utils/type_name.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// A function that builds an implementation of `I` from `Args`.
template <class I, class... Args>
using factory_function = std::function<std::unique_ptr<I>(Args...)>;

/// The factories of a service container, one per function type: factories of one interface with
/// different arguments are different entries.
///
/// Nothing is ever removed. Not synchronised: factories are added while the module is being built.
class factory_store {
 public:
  template <class F>
  [[nodiscard]] bool contains() const {
    return factories_.contains(typeid(F));
  }

  /// Throws `factory_not_available`. The reference lives as long as the store.
  template <class F>
  [[nodiscard]] const F& get() const {
    const auto found = factories_.find(typeid(F));
    if (found == factories_.end()) {
      throw utils::exceptions::factory_not_available(utils::type_name<F>());
    }
    return static_cast<const factory_wrapper<F>&>(*found->second).function;
  }

  /// Throws `already_contains_factory` and keeps the first.
  template <class F>
  void add(F function) {
    if (contains<F>()) {
      throw utils::exceptions::already_contains_factory(utils::type_name<F>());
    }
    factories_.emplace(typeid(F), std::make_unique<factory_wrapper<F>>(std::move(function)));
  }

  [[nodiscard]] std::size_t size() const noexcept { return factories_.size(); }

 private:
  struct factory_wrapper_base {
    virtual ~factory_wrapper_base() = default;
  };
  template <class F>
  struct factory_wrapper : factory_wrapper_base {
    explicit factory_wrapper(F f) : function(std::move(f)) {}
    const F function;
  };

  std::unordered_map<std::type_index, std::unique_ptr<factory_wrapper_base>> factories_;
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
