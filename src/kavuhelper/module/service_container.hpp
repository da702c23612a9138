#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

#include "kavuhelper/module/factory_store.hpp"
#include "kavuhelper/module/instance_map_wrapper.hpp"
#include "kavuhelper/module/instance_store.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// The registry through which the parts of a module reach shared services without knowing their
/// classes. There is one per module.
///
/// An entry is found only under the very type under which it was put. All failures are
/// `service_container_error`s, and none leaves a store half changed.
///
///     container->add_factory<parser_interface, std::string>(
///         [](std::string text) { return std::make_unique<parser>(std::move(text)); });
///     auto parser = container->create<parser_interface>(text);           // a new one each time
///     auto service = container->get_or_create<message_service_interface>();  // one for all
class service_container {
 public:
  service_container();
  ~service_container();
  service_container(const service_container&) = delete;
  service_container& operator=(const service_container&) = delete;

  /// Throws `already_contains_factory` and keeps the first. Takes no lock: all factories are added
  /// before other threads use the container.
  template <class I, class... Args>
  void add_factory(std::type_identity_t<factory_function<I, Args...>> function) {
    factories_.add<factory_function<I, Args...>>(std::move(function));
  }

  /// `F` is a `factory_function`.
  template <class F>
  [[nodiscard]] bool has_factory() const {
    return factories_.contains<F>();
  }

  /// Throws `factory_not_available`. The reference lives as long as the container.
  template <class F>
  [[nodiscard]] const F& get_factory() const {
    return factories_.get<F>();
  }

  /// A new object from the factory that takes exactly these types by value (a literal text is not
  /// a `std::string`). Throws `factory_not_available`, `std::bad_function_call` for an empty
  /// function, or what the factory throws. No lock is held meanwhile. [any-thread]
  template <class I, class... Args>
  [[nodiscard]] std::unique_ptr<I> create(Args&&... arguments) const {
    return get_factory<factory_function<I, std::decay_t<Args>...>>()(
        std::forward<Args>(arguments)...);
  }

  template <class I>
  [[nodiscard]] bool has_instance() const {
    return instances_.find<I>() != nullptr;
  }

  /// Throws `instance_not_available`. [any-thread]
  template <class I>
  [[nodiscard]] std::shared_ptr<I> get_instance() const {
    return instances_.get<I>();
  }

  /// Throws `already_contains_instance` and keeps the first. [any-thread]
  template <class I>
  void add_instance(std::type_identity_t<std::shared_ptr<I>> instance) {
    instances_.add<I>(std::move(instance));
  }

  /// The one object of `I`, built by its factory without arguments when it is first asked for.
  /// Throws as `create` does and then changes nothing.
  ///
  /// What exists already is found without waiting. Building is serialised by the container's
  /// mutex, which is re-entrant: a factory may resolve from the same container. [any-thread]
  template <class I>
  [[nodiscard]] std::shared_ptr<I> get_or_create() {
    if (auto existing = instances_.find<I>()) {
      return existing;
    }
    const std::lock_guard lock(mutex_);
    if (auto existing = instances_.find<I>()) {
      return existing;
    }
    std::shared_ptr<I> created = create<I>();
    instances_.add<I>(created);
    return created;
  }

  /// Whether an object that somebody still holds is shared under the key. [any-thread]
  template <class I, class K>
  [[nodiscard]] bool has_instance(const K& key) {
    return map<I, K>().contains(key);
  }

  /// Throws `instance_not_available_key`. [any-thread]
  template <class I, class K>
  [[nodiscard]] std::shared_ptr<I> get_instance(const K& key) {
    return map<I, K>().get(key);
  }

  /// Shares an object under a key without owning it. Throws `already_contains_instance_key`.
  /// [any-thread]
  template <class I, class K>
  void add_instance(const K& key, std::type_identity_t<std::shared_ptr<I>> instance) {
    map<I, K>().add(key, instance);
  }

  /// The object shared under the key, or else what `build` returns, shared from now on. See
  /// `instance_map_wrapper::get_or_build` for who waits for whom. [any-thread]
  template <class I, class K, class Build>
  [[nodiscard]] std::shared_ptr<I> get_or_build(
      const K& key, Build&& build,
      std::optional<std::chrono::milliseconds> wait_limit = std::nullopt) {
    return map<I, K>().get_or_build(key, std::forward<Build>(build), wait_limit);
  }

  [[nodiscard]] std::size_t factory_count() const noexcept { return factories_.size(); }
  /// Instances and keyed maps.
  [[nodiscard]] std::size_t instance_count() const { return instances_.size(); }

 private:
  template <class I, class K>
  instance_store::instance_map_wrapper<I, K>& map() {
    return instances_.map<instance_store::instance_map_wrapper<I, K>>();
  }

  instance_store instances_;
  factory_store factories_;
  std::recursive_mutex mutex_;  // held while an instance is built
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
