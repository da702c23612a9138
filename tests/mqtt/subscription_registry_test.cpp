#include "mqtt/subscription_registry.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "liblog/memory_logger.hpp"
#include "mqtt/exceptions.hpp"
#include "mqtt/topic_subscription.hpp"

namespace brunvik::monitoring_modules::mqtt {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class subscription_registry_test : public testing::Test {
 protected:
  subscription_registry_test() { log_->attach(lines_, 7); }

  std::shared_ptr<topic_subscription> add(const std::string& filter) {
    auto subscription = std::make_shared<topic_subscription>(
        filter, [this, filter](const auto&) { served_.push_back(filter); });
    registry_.add(subscription);
    return subscription;
  }
  void deliver(const std::string& topic) {
    registry_.dispatch(std::make_shared<received_message>(received_message{topic, "", false}));
  }
  /// Why the filter is not subscribed; empty when it is.
  std::string failure(const std::string& filter) {
    try {
      registry_.require_granted(filter);
      return {};
    } catch (const exceptions::mqtt_failure& failure) {
      return failure.what();
    }
  }
  std::vector<std::string> lines_at(int severity) {
    std::vector<std::string> texts;
    for (const auto& entry : lines_->entries()) {
      if (entry.severity == severity) {
        texts.push_back(entry.message);
      }
    }
    return texts;
  }

  std::shared_ptr<liblog::memory_logger> lines_ = std::make_shared<liblog::memory_logger>();
  std::shared_ptr<client_log> log_ = std::make_shared<client_log>("me");
  subscription_registry registry_{log_};
  std::vector<std::string> served_;
};

TEST_F(subscription_registry_test, a_message_reaches_every_match_once) {
  const auto a = add("a/#");
  const auto again = add("a/#");
  const auto plus = add("+/b");
  const auto other = add("c");
  registry_.add(a);  // is there already
  deliver("a/b");
  EXPECT_THAT(served_, UnorderedElementsAre("a/#", "a/#", "+/b"));
  EXPECT_TRUE(registry_.remove(a));
  EXPECT_FALSE(registry_.remove(a));
  EXPECT_TRUE(registry_.remove(plus));
  deliver("a/b");
  EXPECT_EQ(served_.size(), 4U);
}

TEST_F(subscription_registry_test, what_came_live_is_known_of_a_limited_number_of_topics) {
  const auto dispatch = [&](const std::string& topic, const char* payload, bool retained) {
    auto message = std::make_shared<received_message>(received_message{topic, payload, retained});
    registry_.dispatch(message);
    return message;
  };
  EXPECT_FALSE(dispatch("a", "1", true)->last_live);
  const auto live = dispatch("a", "2", false);
  registry_.connection_lost();
  for (const char* payload : {"1", "2"}) {
    const auto repeated = dispatch("a", payload, true);
    ASSERT_TRUE(repeated->last_live);
    EXPECT_EQ(repeated->last_live->number, live->number);
    EXPECT_EQ(repeated->last_live->connection, live->connection);
    EXPECT_EQ(repeated->connection, live->connection + 1);
    EXPECT_EQ(repeated->last_live->same_payload, *payload == '2');
  }
  for (std::size_t i = 1; i < live_topics::most_topics; ++i) {
    dispatch("t/" + std::to_string(i), "", false);
  }
  EXPECT_TRUE(dispatch("b", "1", true)->is_history_complete);
  dispatch("one too many", "", false);
  EXPECT_FALSE(dispatch("one too many", "", true)->last_live);
  EXPECT_FALSE(dispatch("b", "1", true)->is_history_complete);
  EXPECT_TRUE(dispatch("a", "2", true)->last_live->same_payload);
}

TEST_F(subscription_registry_test, a_dropped_subscription_abandons_its_filter_until_wanted_again) {
  for (const bool wanted : {false, true}) {
    lines_->clear();
    auto gone = add("a");
    gone.reset();
    deliver("a");
    deliver("a");
    EXPECT_THAT(lines_at(4),
                ElementsAre("MQTT Client - me: Found weak pointer without reference for topic: a"));
    EXPECT_EQ(registry_.filter_count(), 0U);
    const auto back = wanted ? add("a") : nullptr;
    EXPECT_EQ(registry_.take_abandoned().size(), wanted ? 0U : 1U);
    EXPECT_FALSE(registry_.has_abandoned());
  }
}

TEST_F(subscription_registry_test, a_throwing_subscription_does_not_cost_the_others_their_message) {
  const auto throws = std::make_shared<topic_subscription>(
      "a", [](const auto&) { throw std::runtime_error("no"); });
  const auto throws_odd = std::make_shared<topic_subscription>("a", [](const auto&) { throw 1; });
  registry_.add(throws);
  registry_.add(throws_odd);
  const auto good = add("a");
  deliver("a");
  EXPECT_THAT(served_, ElementsAre("a"));
  EXPECT_THAT(lines_at(4),
              UnorderedElementsAre("MQTT Client - me: Exception in on_message_arrived: no",
                                   "MQTT Client - me: Undefined exception in on_message_arrived"));
}

TEST_F(subscription_registry_test,
       a_filter_counts_as_subscribed_on_the_connection_that_granted_it) {
  const auto a = add("a");
  EXPECT_THROW(registry_.require_granted("a"), exceptions::connection_lost);
  const auto first = registry_.current_connection();
  registry_.set_granted("a", first);
  EXPECT_EQ(failure("a"), "");
  EXPECT_THAT(registry_.pending_filters(), IsEmpty());

  registry_.connection_lost();
  registry_.set_granted("a", first);  // an answer from before the loss
  EXPECT_THROW(registry_.require_granted("a"), exceptions::connection_lost);
  EXPECT_THAT(registry_.pending_filters(), ElementsAre(ElementsAre("a")));

  registry_.set_failed("a", registry_.current_connection(), exceptions::timeout("x").message());
  EXPECT_EQ(failure("a"), "Timeout. x");
  EXPECT_THAT(registry_.pending_filters(), ElementsAre(ElementsAre("a")));
}

// A broker that cuts the connection at one of a hundred filters, which is found by asking for ever
// fewer at once.
TEST_F(subscription_registry_test, a_filter_that_costs_the_connection_is_found_and_held_back) {
  std::vector<std::shared_ptr<topic_subscription>> all;
  for (int i = 0; i < 100; ++i) {
    all.push_back(add("f/" + std::to_string(i)));
  }
  const auto renew = [&] {  // false when the connection dies
    for (const auto& group : registry_.pending_filters()) {
      if (std::find(group.begin(), group.end(), "f/42") != group.end()) {
        registry_.connection_lost();
        registry_.suspect(group);
        return false;
      }
      for (const auto& filter : group) {
        registry_.set_granted(filter, registry_.current_connection());
      }
    }
    return true;
  };
  int losses = 0;
  while (!renew() && losses < 10) {
    ++losses;
  }
  EXPECT_EQ(losses, 4);
  EXPECT_FALSE(registry_.has_pending());
  EXPECT_THAT(failure("f/42"), testing::HasSubstr("ended the connection each time"));
  EXPECT_EQ(failure("f/41"), "");
}

}  // namespace
}  // namespace brunvik::monitoring_modules::mqtt
