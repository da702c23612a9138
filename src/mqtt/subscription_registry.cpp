#include "mqtt/subscription_registry.hpp"

#include <algorithm>
#include <map>

#include "mqtt/exceptions.hpp"

namespace brunvik::monitoring_modules::mqtt {

using liblog::log_lazily;
namespace severity = liblog::severity;

namespace {

std::string cut_off(const std::string& filter) {
  return "The broker ended the connection each time it was asked for a subscription to '" + filter +
         "'.";
}

template <class Entries>
std::size_t count_expired(const Entries& entries) {
  return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(),
                                                [](const auto& entry) { return entry.expired(); }));
}

template <class Entries>
void append_expired(std::vector<std::string>& into, const std::string& filter,
                    const Entries& entries) {
  into.insert(into.end(), count_expired(entries), filter);
}

}  // namespace

subscription_registry::addition subscription_registry::add(const subscription_ptr& subscription) {
  const std::string filter = subscription->topic();
  const std::lock_guard lock(mutex_);
  const auto [entry, is_new] = filters_.try_emplace(filter);
  auto& subscriptions = entry->second.subscriptions;
  const bool present = std::any_of(subscriptions.begin(), subscriptions.end(),
                                   [&](const auto& each) { return each.lock() == subscription; });
  if (present) {
    return addition::none;
  }
  subscriptions.push_back(subscription);
  routes_.reset();
  return is_new ? addition::of_new_filter : addition::to_known_filter;
}

bool subscription_registry::remove(const subscription_ptr& subscription) {
  const std::string filter = subscription->topic();
  std::size_t expired = 0;
  bool removed = false;
  {
    const std::lock_guard lock(mutex_);
    const auto found = filters_.find(filter);
    if (found == filters_.end()) {
      return false;
    }
    auto& subscriptions = found->second.subscriptions;
    const auto entry = std::find_if(subscriptions.begin(), subscriptions.end(), [&](auto& each) {
      const auto live = each.lock();
      expired += live == nullptr ? 1 : 0;
      return live == subscription;
    });
    if (entry != subscriptions.end()) {
      subscriptions.erase(entry);
      routes_.reset();
      removed = true;
    }
    if (subscriptions.empty()) {
      filters_.erase(found);
    }
  }
  for (; expired > 0; --expired) {
    log_->log(severity::warning,
              "Found unreferenced weak_ptr during unsubscribe for topic: " + filter);
  }
  return removed;
}

std::shared_ptr<const subscription_registry::routes> subscription_registry::admit(
    received_message& message) {
  const live_topics::fingerprint fingerprint(message);
  const std::lock_guard lock(mutex_);
  message.number = ++messages_;
  message.connection = connection_;
  live_topics_.admit(message, fingerprint);
  return current_routes();
}

std::shared_ptr<const subscription_registry::routes> subscription_registry::current_routes() {
  if (routes_ == nullptr) {
    auto fresh = std::make_shared<routes>();
    for (const auto& [filter, state] : filters_) {
      for (const auto& subscription : state.subscriptions) {
        fresh->push_back({filter, subscription});
      }
    }
    routes_ = std::move(fresh);
  }
  return routes_;
}

void subscription_registry::dispatch(const std::shared_ptr<received_message>& message) noexcept {
  try {
    log_lazily(*log_, severity::debug,
               [&] { return "Message received on topic: " + message->topic; });
    std::vector<std::string> expired;
    const auto targets = admit(*message);
    for (const auto& target : *targets) {
      serve(target, message, expired);
    }
    for (const auto& filter : expired) {
      log_->log(severity::debug, "Removing unreferenced weak_ptr for topic: " + filter);
      forget_expired(filter);
    }
  } catch (const std::exception& failure) {
    log_->log(severity::warning, std::string("Exception in on_message_arrived: ") + failure.what());
  } catch (...) {
    log_->log(severity::warning, "Undefined exception in on_message_arrived");
  }
}

void subscription_registry::serve(const route& target,
                                  const std::shared_ptr<received_message>& message,
                                  std::vector<std::string>& expired) noexcept try {
  const auto subscription = target.subscription.lock();
  if (subscription == nullptr) {
    log_->log(severity::warning,
              "Found weak pointer without reference for topic: " + target.filter);
    expired.push_back(target.filter);
  } else if (subscription->matches(message->topic)) {
    subscription->on_message(message);
  } else {
    subscription->on_mismatch(message->topic);
  }
} catch (const std::exception& failure) {
  log_->log(severity::warning, std::string("Exception in on_message_arrived: ") + failure.what());
} catch (...) {
  log_->log(severity::warning, "Undefined exception in on_message_arrived");
}

void subscription_registry::forget_expired(const std::string& filter) {
  const std::lock_guard lock(mutex_);
  const auto found = filters_.find(filter);
  if (found == filters_.end()) {
    return;
  }
  std::erase_if(found->second.subscriptions, [](const auto& entry) { return entry.expired(); });
  if (found->second.subscriptions.empty()) {
    filters_.erase(found);
    abandoned_.insert(filter);
  }
  routes_.reset();
}

void subscription_registry::abandon(const std::string& filter) {
  const std::lock_guard lock(mutex_);
  abandoned_.insert(filter);
}

bool subscription_registry::has_abandoned() const {
  const std::lock_guard lock(mutex_);
  return !abandoned_.empty();
}

std::vector<std::string> subscription_registry::take_abandoned() {
  std::vector<std::string> filters;
  const std::lock_guard lock(mutex_);
  for (const auto& filter : abandoned_) {
    if (!filters_.contains(filter)) {
      filters.push_back(filter);
    }
  }
  abandoned_.clear();
  return filters;
}

bool subscription_registry::has_entries(const std::string& filter) const {
  const std::lock_guard lock(mutex_);
  return filters_.contains(filter);
}

bool subscription_registry::is_granted(const std::string& filter) const {
  const std::lock_guard lock(mutex_);
  const auto found = filters_.find(filter);
  return found != filters_.end() && found->second.granted;
}

std::size_t subscription_registry::filter_count() const {
  const std::lock_guard lock(mutex_);
  return filters_.size();
}

std::size_t subscription_registry::live_count(const std::string& filter) const {
  const std::lock_guard lock(mutex_);
  const auto found = filters_.find(filter);
  return found == filters_.end() ? 0 : found->second.live_count();
}

std::size_t subscription_registry::filter_state::live_count() const {
  return subscriptions.size() - count_expired(subscriptions);
}

bool subscription_registry::filter_state::is_pending() const {
  return !granted && !suspicion.is_held_back() && live_count() > 0;
}

bool subscription_registry::has_pending() const {
  const std::lock_guard lock(mutex_);
  return std::any_of(filters_.begin(), filters_.end(),
                     [](const auto& entry) { return entry.second.is_pending(); });
}

std::vector<std::vector<std::string>> subscription_registry::pending_filters() {
  std::map<unsigned, std::vector<std::string>> pending;  // by suspicion
  std::vector<std::string> unreferenced;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [filter, state] : filters_) {
      if (state.is_pending()) {
        pending[state.suspicion.level()].push_back(filter);
      }
      append_expired(unreferenced, filter, state.subscriptions);
    }
  }
  for (const auto& filter : unreferenced) {
    log_->log(severity::warning,
              "Found unreferenced weak_ptr during subscribe for topic: " + filter);
  }
  return make_renewal_groups(std::move(pending));
}

void subscription_registry::suspect(const std::vector<std::string>& filters) {
  std::vector<std::string> caught;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& filter : filters) {
      const auto found = filters_.find(filter);
      if (found != filters_.end() && !found->second.granted &&
          found->second.suspicion.grow(others_were_granted_)) {
        caught.push_back(filter);
      }
    }
  }
  for (const auto& filter : caught) {
    log_->log(severity::error, cut_off(filter));
  }
}

std::vector<std::pair<std::string, std::size_t>> subscription_registry::take_all_filters() {
  std::vector<std::pair<std::string, std::size_t>> filters;
  std::vector<std::string> unreferenced;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [filter, state] : filters_) {
      append_expired(unreferenced, filter, state.subscriptions);
      filters.emplace_back(filter, state.live_count());
    }
    filters_.clear();
    routes_.reset();
  }
  for (const auto& filter : unreferenced) {
    log_->log(severity::warning,
              "Found unreferenced weak_ptr during unsubscribe_all for topic: " + filter);
  }
  return filters;
}

subscription_registry::connection_number subscription_registry::current_connection() const {
  const std::lock_guard lock(mutex_);
  return connection_;
}

void subscription_registry::connection_lost() {
  const std::lock_guard lock(mutex_);
  ++connection_;
  others_were_granted_ = std::any_of(filters_.begin(), filters_.end(),
                                     [](const auto& entry) { return entry.second.granted; });
  abandoned_.clear();  // a clean session: the broker has forgotten them too
  for (auto& [filter, state] : filters_) {
    state.granted = false;
    state.failure.reset();
  }
}

void subscription_registry::set_granted(const std::string& filter, connection_number connection) {
  const std::lock_guard lock(mutex_);
  const auto found = filters_.find(filter);
  if (found != filters_.end() && connection == connection_) {
    found->second.granted = true;
    found->second.failure.reset();
    found->second.suspicion.clear();
  }
}

void subscription_registry::set_failed(const std::string& filter, connection_number connection,
                                       const libi18n::i18n_msg& reason) {
  const std::lock_guard lock(mutex_);
  const auto found = filters_.find(filter);
  if (found != filters_.end() && connection == connection_ && !found->second.granted) {
    found->second.failure = reason;
  }
}

subscription_registry::connection_number subscription_registry::require_granted(
    const std::string& filter) const {
  std::optional<libi18n::i18n_msg> failure;
  {
    const std::lock_guard lock(mutex_);
    const auto found = filters_.find(filter);
    if (found != filters_.end() && found->second.granted) {
      return connection_;
    }
    if (found != filters_.end() && found->second.suspicion.is_held_back()) {
      failure = libi18n::i18n_msg::verbatim(cut_off(filter));
    } else if (found != filters_.end()) {
      failure = found->second.failure;
    }
  }
  if (failure) {
    throw exceptions::mqtt_failure(*failure);
  }
  throw exceptions::connection_lost();
}

}  // namespace brunvik::monitoring_modules::mqtt
