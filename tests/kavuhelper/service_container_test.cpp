#include "kavuhelper/module/service_container.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "helpers/eventually.hpp"
#include "kavuhelper/failure_text.hpp"

namespace kavu_test {
namespace {

namespace failures = brunvik::monitoring_modules::libkavuhelper::utils::exceptions;
using brunvik::monitoring_modules::libkavuhelper::module::factory_function;
using brunvik::monitoring_modules::libkavuhelper::module::instance_store;
using brunvik::monitoring_modules::libkavuhelper::module::service_container;
using brunvik::monitoring_modules::libkavuhelper::utils::type_name;

struct service {
  explicit service(std::string text = "") : name(std::move(text)) {}
  std::string name;
};
struct other_service {
  std::shared_ptr<service> needed;
};

TEST(service_container, the_first_factory_for_the_same_arguments_stays) {
  service_container container;
  container.add_factory<service, std::string>(
      [](std::string text) { return std::make_unique<service>(std::move(text)); });
  const std::string text = "lvalues are taken by value";
  EXPECT_EQ(container.create<service>(text)->name, text);
  EXPECT_EQ(
      failure_text<failures::factory_not_available>([&] { (void)container.create<service>(); }),
      "The factory store can't find a factory with type " + type_name<factory_function<service>>() +
          ".");
  container.add_factory<service>([] { return std::make_unique<service>("first"); });
  EXPECT_EQ(failure_text<failures::already_contains_factory>([&] {
              container.add_factory<service>([] { return std::make_unique<service>("second"); });
            }),
            "The factory store already contains a factory with type " +
                type_name<factory_function<service>>() + ".");
  EXPECT_EQ(container.create<service>()->name, "first");
  container.add_factory<other_service>(nullptr);
  EXPECT_THROW((void)container.create<other_service>(), std::bad_function_call);
}

TEST(service_container, a_factory_may_resolve_from_the_same_container) {
  service_container container;
  container.add_factory<service>([] { return std::make_unique<service>("inner"); });
  container.add_factory<other_service>([&container] {
    return std::make_unique<other_service>(other_service{container.get_or_create<service>()});
  });
  const auto built = container.get_or_create<other_service>();
  EXPECT_EQ(built->needed, container.get_instance<service>());
}

TEST(service_container, a_failure_leaves_the_store_as_it_was) {
  service_container container;
  bool fails = true;
  container.add_factory<service>(
      [&] { return fails ? throw std::runtime_error("not yet") : std::make_unique<service>(); });
  EXPECT_THROW((void)container.get_or_create<service>(), std::runtime_error);
  EXPECT_EQ(failure_text<failures::instance_not_available>(
                [&] { (void)container.get_instance<service>(); }),
            "The instance store can't find an instance with type " + type_name<service>() + ".");
  fails = false;
  EXPECT_NE(container.get_or_create<service>(), nullptr);
}

TEST(service_container, keyed_instances_are_not_owned_and_named_by_type_only) {
  service_container container;
  const std::string key = "a password";
  const std::string names =
      " an instance with type " + type_name<service>() + " and key " + type_name<std::string>();
  for (int lives = 0; lives < 2; ++lives) {
    const auto shared = std::make_shared<service>();
    container.add_instance<service>(key, shared);
    EXPECT_EQ(container.get_instance<service>(key), shared);
    EXPECT_EQ(failure_text<failures::already_contains_instance_key>(
                  [&] { container.add_instance<service>(key, std::make_shared<service>()); }),
              "The instance store already contains" + names + ".");
  }
  EXPECT_FALSE(container.has_instance<service>(key));
  EXPECT_EQ(failure_text<failures::instance_not_available_key>(
                [&] { (void)container.get_instance<service>(key); }),
            "The instance store can't find" + names + ".");
}

TEST(service_container, finding_a_service_waits_for_no_factory_elsewhere) {
  service_container container;
  std::promise<void> inside;
  std::promise<void> go_on;
  container.add_instance<service>(std::make_shared<service>());
  container.add_factory<other_service>([&] {
    inside.set_value();
    go_on.get_future().wait();
    return std::make_unique<other_service>();
  });
  auto slow =
      std::async(std::launch::async, [&] { return container.get_or_create<other_service>(); });
  inside.get_future().wait();
  EXPECT_NE(container.get_or_create<service>(), nullptr);
  EXPECT_FALSE(container.has_instance<service>(std::string("key")));
  go_on.set_value();
  EXPECT_NE(slow.get(), nullptr);
}

TEST(service_container, a_service_is_built_once_however_many_ask) {
  service_container container;
  std::atomic<int> built = 0;
  container.add_factory<service>([&] {
    ++built;
    return std::make_unique<service>();
  });
  std::vector<std::future<std::shared_ptr<service>>> asking;
  for (int i = 0; i < 4; ++i) {
    asking.push_back(
        std::async(std::launch::async, [&] { return container.get_or_create<service>(); }));
  }
  for (auto& each : asking) {
    EXPECT_EQ(each.get(), container.get_or_create<service>());
  }
  EXPECT_EQ(built, 1);
  EXPECT_THROW(container.add_instance<service>(std::make_shared<service>()),
               failures::already_contains_instance);
}

struct connection {
  int number = 0;
};

class keyed_build : public testing::Test {
 protected:
  using outcome = std::future<std::shared_ptr<connection>>;

  /// Asks on a thread of its own; the build ends when `result` is set.
  outcome ask(std::optional<std::chrono::milliseconds> limit = {}) {
    return std::async(std::launch::async, [this, limit] {
      ++asking;
      return container.get_or_build<connection>(key, build, limit);
    });
  }
  /// One that builds, and others that ask for the same key meanwhile.
  std::vector<outcome> ask_together(int count) {
    std::vector<outcome> all;
    for (int i = 0; i < count; ++i) {
      all.push_back(ask());
    }
    EXPECT_TRUE(eventually([&] { return started == 1 && asking == count; }));
    return all;
  }

  const std::string key = "key";
  service_container container;
  std::promise<int> result;
  std::function<std::unique_ptr<connection>()> build = [this, ends = result.get_future().share()] {
    ++started;
    return std::make_unique<connection>(connection{ends.get()});
  };
  std::atomic<int> asking = 0;
  std::atomic<int> started = 0;
};

TEST_F(keyed_build, whoever_wants_the_same_key_gets_the_one_that_is_being_built) {
  auto all = ask_together(4);
  result.set_value(7);
  const auto first = all[0].get();
  EXPECT_EQ(first->number, 7);
  for (std::size_t i = 1; i < all.size(); ++i) {
    EXPECT_EQ(all[i].get(), first);
  }
  EXPECT_EQ(started, 1);
  EXPECT_EQ(container.get_instance<connection>(key), first);
}

TEST_F(keyed_build, a_failure_reaches_everyone_and_the_next_one_builds_anew) {
  auto all = ask_together(3);
  result.set_exception(std::make_exception_ptr(std::runtime_error("refused")));
  for (auto& each : all) {
    // Who came too late to wait has built himself, with the same outcome.
    EXPECT_THROW(each.get(), std::runtime_error);
  }
  EXPECT_FALSE(container.has_instance<connection>(key));
  const auto next = container.get_or_build<connection>(
      key, [] { return std::make_shared<connection>(connection{2}); });
  EXPECT_EQ(next->number, 2);
}

TEST_F(keyed_build, nobody_waits_without_need_or_longer_than_he_wants) {
  auto builder = ask_together(1);
  container.add_factory<int>([] { return std::make_unique<int>(5); });
  EXPECT_EQ(*container.get_or_create<int>(), 5);
  EXPECT_FALSE(container.has_instance<connection>(key));
  const std::string other = "other key";
  const auto built =
      container.get_or_build<connection>(other, [] { return std::make_unique<connection>(); });
  EXPECT_EQ(container.get_instance<connection>(other), built);
  EXPECT_THROW(ask(std::chrono::milliseconds(5)).get(), failures::build_wait_expired);
  result.set_value(1);
  EXPECT_EQ(builder[0].get()->number, 1);
}

TEST_F(keyed_build, a_build_that_needs_itself_is_refused) {
  const auto needs_itself = [&] {
    (void)container.get_or_build<connection>(key, build);
    return std::make_unique<connection>();
  };
  EXPECT_THROW((void)container.get_or_build<connection>(key, needs_itself),
               failures::service_container_error);
  EXPECT_THROW(
      (void)container.get_or_build<connection>(key, [] { return std::unique_ptr<connection>(); }),
      failures::instance_not_available_key);
}

TEST(keyed_instances, expired_entries_go_at_the_next_access) {
  instance_store::instance_map_wrapper<connection, int> map;
  const auto make = [] { return std::make_unique<connection>(); };
  (void)map.get_or_build(1, make);
  const auto kept = map.get_or_build(2, make);
  EXPECT_EQ(map.size(), 1U);
  EXPECT_FALSE(map.contains(1));
  EXPECT_TRUE(map.contains(2));
}

// Meant for ThreadSanitizer: builds, failures and expiry of few keys on several threads.
TEST(keyed_instances, survive_many_threads) {
  service_container container;
  std::atomic<int> served = 0;
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&container, &served, thread] {
        for (int i = 0; i < 400; ++i) {
          const auto instance = container.get_or_build<connection>(
              (i + thread) % 3, [&] { return std::make_unique<connection>(connection{i}); });
          served += instance->number >= 0 ? 1 : 0;
          (void)container.has_instance<connection>(i % 3);
        }
      });
    }
  }
  EXPECT_EQ(served, 1600);
}

}  // namespace
}  // namespace kavu_test
