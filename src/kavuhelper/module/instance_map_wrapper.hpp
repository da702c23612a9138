#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <utility>

#include "kavuhelper/module/instance_store.hpp"
#include "kavuhelper/utils/exceptions.hpp"
#include "kavuhelper/utils/type_name.hpp"

namespace brunvik::monitoring_modules::libkavuhelper::module {

/// Objects of one interface that are shared by whoever asks with an equal key.
///
/// The map does not own them: an entry counts for as long as somebody else holds its object.
/// Entries whose object has gone are removed at the next access, since keys may hold passwords.
///
/// The mutex covers look-up and insertion only. [any-thread]
template <class I, class K, class H, class E>
class instance_store::instance_map_wrapper : public instance_store::instance_wrapper_base {
 public:
  /// How long to wait for somebody else's build; empty: as long as it takes.
  using wait_limit = std::optional<std::chrono::milliseconds>;

  /// Whether the key has a living object.
  [[nodiscard]] bool contains(const K& key) const { return find(key) != nullptr; }

  /// Throws `instance_not_available_key` when the key has no living object.
  [[nodiscard]] std::shared_ptr<I> get(const K& key) const {
    auto found = find(key);
    if (!found) {
      throw utils::exceptions::instance_not_available_key(utils::type_name<I>(),
                                                          utils::type_name<K>());
    }
    return found;
  }

  /// Throws `already_contains_instance_key` and changes nothing when the key has a living object.
  void add(const K& key, const std::shared_ptr<I>& instance) {
    const std::lock_guard lock(mutex_);
    drop_expired();
    if (!instances_.try_emplace(key, instance).second) {
      throw utils::exceptions::already_contains_instance_key(utils::type_name<I>(),
                                                             utils::type_name<K>());
    }
  }

  /// The key's living object, or else what `build` returns (an owning pointer to `I`), which is
  /// then shared under the key.
  ///
  /// One caller builds, without any lock held. Others who want the same key meanwhile wait for it
  /// and get the same object or the same failure; after `limit` they get `build_wait_expired`.
  /// Nobody else waits. A build that fails leaves nothing behind: the next caller builds anew. A
  /// build that asks for its own key gets `service_container_error`.
  template <class Build>
  [[nodiscard]] std::shared_ptr<I> get_or_build(const K& key, Build&& build,
                                                wait_limit limit = std::nullopt) {
    // Declared before the lock: the last share of an object must not go under it.
    std::shared_ptr<build_in_progress> current;
    {
      std::unique_lock lock(mutex_);
      drop_expired();
      if (const auto found = instances_.find(key); found != instances_.end()) {
        if (auto instance = found->second.lock()) {
          return instance;
        }
      }
      if (const auto found = builds_.find(key); found != builds_.end()) {
        current = found->second;
        return await(lock, *current, limit);
      }
      current = std::make_shared<build_in_progress>();
      builds_.emplace(key, current);
    }
    return run(key, *current, std::forward<Build>(build));
  }

  /// Entries, those included whose object has gone since the last access.
  [[nodiscard]] std::size_t size() const {
    const std::lock_guard lock(mutex_);
    return instances_.size();
  }

 private:
  // Guarded by mutex_, but for the thread.
  struct build_in_progress {
    const std::thread::id builder = std::this_thread::get_id();
    std::condition_variable ended;
    bool has_ended = false;
    std::shared_ptr<I> instance;
    std::exception_ptr failure;
  };

  std::shared_ptr<I> find(const K& key) const {
    const std::lock_guard lock(mutex_);
    drop_expired();
    const auto found = instances_.find(key);
    return found == instances_.end() ? nullptr : found->second.lock();
  }

  // Under mutex_.
  void drop_expired() const {
    std::erase_if(instances_, [](const auto& entry) { return entry.second.expired(); });
  }

  static std::shared_ptr<I> await(std::unique_lock<std::mutex>& lock, build_in_progress& build,
                                  const wait_limit& limit) {
    if (build.builder == std::this_thread::get_id()) {
      throw utils::exceptions::service_container_error("Building an instance with type " +
                                                       utils::type_name<I>() + " needs itself.");
    }
    const auto has_ended = [&build] { return build.has_ended; };
    if (!limit) {
      build.ended.wait(lock, has_ended);
    } else if (!build.ended.wait_for(lock, *limit, has_ended)) {
      throw utils::exceptions::build_wait_expired(utils::type_name<I>());
    }
    if (build.failure) {
      std::rethrow_exception(build.failure);
    }
    return build.instance;
  }

  template <class Build>
  std::shared_ptr<I> run(const K& key, build_in_progress& current, Build&& build) {
    std::shared_ptr<I> instance;
    std::exception_ptr failure;
    try {
      instance = std::forward<Build>(build)();
      if (!instance) {
        throw utils::exceptions::instance_not_available_key(utils::type_name<I>(),
                                                            utils::type_name<K>());
      }
      const std::lock_guard lock(mutex_);
      instances_.insert_or_assign(key, instance);
    } catch (...) {
      failure = std::current_exception();
    }
    {
      const std::lock_guard lock(mutex_);
      builds_.erase(key);
      current.instance = instance;
      current.failure = failure;
      current.has_ended = true;
      current.ended.notify_all();
    }
    if (failure) {
      std::rethrow_exception(failure);
    }
    return instance;
  }

  mutable std::mutex mutex_;
  mutable std::unordered_map<K, std::weak_ptr<I>, H, E> instances_;         // guarded by mutex_
  std::unordered_map<K, std::shared_ptr<build_in_progress>, H, E> builds_;  // guarded by mutex_
};

}  // namespace brunvik::monitoring_modules::libkavuhelper::module
