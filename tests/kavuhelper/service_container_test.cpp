#include "kavuhelper/module/service_container.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include "kavuhelper/failure_text.hpp"

namespace kavu_test {
namespace {

namespace failures = brunvik::monitoring_modules::libkavuhelper::utils::exceptions;
using brunvik::monitoring_modules::libkavuhelper::module::factory_function;
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

}  // namespace
}  // namespace kavu_test
