#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "libi18n/i18n_msg.hpp"
#include "mqtt/client_log.hpp"
#include "mqtt/filter_suspicion.hpp"
#include "mqtt/live_topics.hpp"
#include "mqtt/topic_subscription_interface.hpp"

namespace brunvik::monitoring_modules::mqtt {

/// Who is interested in which topic filter, and what the broker knows of it.
///
/// Subscriptions are held weakly. Each filter is pending until the broker has granted it on the
/// connection that stands; losing the connection makes all of them pending again. Connections are
/// told apart by a number, so that an answer that comes late does not count for the next one.
///
/// [any-thread]. No lock is held while a subscription is served, nor ever across a call into the
/// MQTT library: messages are handed out while another thread waits for the broker.
class subscription_registry {
 public:
  using subscription_ptr = std::shared_ptr<topic_subscription_interface>;
  using connection_number = std::uint64_t;

  explicit subscription_registry(std::shared_ptr<client_log> log) : log_(std::move(log)) {}

  enum class addition { none, to_known_filter, of_new_filter };
  /// Adds an entry, unless this very subscription has one.
  addition add(const subscription_ptr& subscription);

  /// Removes the subscription's entry. Tells whether there was one.
  bool remove(const subscription_ptr& subscription);

  /// Completes the message: its number, its connection, and for a retained one what came before it.
  /// Then hands it to every live subscription that matches, and forgets those that are gone.
  /// A subscription that throws is logged and does not keep the message from the others.
  /// [client-thread]
  void dispatch(const std::shared_ptr<received_message>& message) noexcept;

  [[nodiscard]] bool has_entries(const std::string& filter) const;
  [[nodiscard]] std::size_t filter_count() const;
  /// The subscriptions of a filter that are still there.
  [[nodiscard]] std::size_t live_count(const std::string& filter) const;
  /// By the broker, on the present connection.
  [[nodiscard]] bool is_granted(const std::string& filter) const;

  /// Filters of live subscriptions that the broker has not granted on the present connection, those
  /// left out that are held back, in groups to be asked for at once and in this order.
  [[nodiscard]] std::vector<std::vector<std::string>> pending_filters();
  [[nodiscard]] bool has_pending() const;
  /// The connection died while these were asked for (filter_suspicion.hpp).
  void suspect(const std::vector<std::string>& filters);

  /// Empties the registry, and gives the filters that were in it, each with the number of its
  /// subscriptions that were still there.
  [[nodiscard]] std::vector<std::pair<std::string, std::size_t>> take_all_filters();

  /// Filters without a subscription that the broker still serves: those of which the last entry
  /// expired, and those that were given to `abandon`.
  void abandon(const std::string& filter);
  [[nodiscard]] bool has_abandoned() const;
  /// Gives and forgets them, leaving out those that somebody has subscribed to since.
  [[nodiscard]] std::vector<std::string> take_abandoned();

  [[nodiscard]] connection_number current_connection() const;
  /// All filters are pending again, and the next connection has another number.
  void connection_lost();
  /// Both are ignored when `connection` is no longer the present one.
  void set_granted(const std::string& filter, connection_number connection);
  void set_failed(const std::string& filter, connection_number connection,
                  const libi18n::i18n_msg& reason);

  /// The present connection if the broker has granted the filter on it. Throws a failure with the
  /// reason that `set_failed` was given, or `connection_lost` while the filter is pending.
  connection_number require_granted(const std::string& filter) const;

 private:
  using entries = std::vector<std::weak_ptr<topic_subscription_interface>>;
  struct filter_state {
    entries subscriptions;
    bool granted = false;
    std::optional<libi18n::i18n_msg> failure;
    filter_suspicion suspicion;

    [[nodiscard]] std::size_t live_count() const;
    [[nodiscard]] bool is_pending() const;
  };
  struct route {
    std::string filter;
    std::weak_ptr<topic_subscription_interface> subscription;
  };
  using routes = std::vector<route>;

  std::shared_ptr<const routes> admit(received_message& message);
  std::shared_ptr<const routes> current_routes();  // under mutex_
  void serve(const route& target, const std::shared_ptr<received_message>& message,
             std::vector<std::string>& expired) noexcept;
  void forget_expired(const std::string& filter);

  std::shared_ptr<client_log> log_;

  mutable std::mutex mutex_;  // guards all below, and is held for moments only
  std::unordered_map<std::string, filter_state> filters_;
  std::shared_ptr<const routes> routes_;  // what dispatch walks; null when filters_ has changed
  std::unordered_set<std::string> abandoned_;
  live_topics live_topics_;
  std::uint64_t messages_ = 0;
  connection_number connection_ = 0;
  bool others_were_granted_ = false;  // some filters, on the connection that was lost last
};

}  // namespace brunvik::monitoring_modules::mqtt
