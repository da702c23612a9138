#include <gtest/gtest.h>

#include <future>
#include <latch>
#include <random>
#include <thread>
#include <vector>

#include "platform/recording_host.hpp"

namespace kavu_test {
namespace {

TEST(dispatcher_concurrency, different_sensors_scan_side_by_side) {
  recording_host host;
  std::latch all_inside(3);
  scripted_sensor::offer(host, "meets", [&](scripted_sensor&) { all_inside.arrive_and_wait(); });
  std::vector<std::jthread> scans;
  for (int id = 1; id <= 3; ++id) {
    ASSERT_EQ(host.dispatcher.create_sensor_instance(id, wrap(sensor_named("meets"))), 0);
    scans.emplace_back([&host, id] { EXPECT_EQ(host.dispatcher.execute_sensor_scan(id), 0); });
  }
  scans.clear();
}

TEST(dispatcher_concurrency, destroying_waits_for_the_sensors_own_scan_only) {
  recording_host host;
  std::latch inside(1), go_on(1);
  scripted_sensor::offer(host, "slow", [&](scripted_sensor&) {
    inside.count_down();
    go_on.wait();
  });
  scripted_sensor::offer(host, "quick", [](scripted_sensor&) {});
  host.dispatcher.create_sensor_instance(1, wrap(sensor_named("slow")));
  host.dispatcher.create_sensor_instance(2, wrap(sensor_named("quick")));
  auto scan =
      std::async(std::launch::async, [&] { return host.dispatcher.execute_sensor_scan(1); });
  inside.wait();
  EXPECT_EQ(host.dispatcher.destroy_sensor_instance(2), 0);

  // One of the two waits for the scan; for the other the sensor is unknown already.
  const auto remove = [&] { return host.dispatcher.destroy_sensor_instance(1); };
  std::future<int> removals[] = {std::async(std::launch::async, remove),
                                 std::async(std::launch::async, remove)};
  const auto is_over = [](const std::future<int>& removal) {
    return removal.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  };
  ASSERT_TRUE(eventually([&] { return is_over(removals[0]) || is_over(removals[1]); }));
  EXPECT_NE(is_over(removals[0]), is_over(removals[1]));
  EXPECT_EQ(host.dispatcher.execute_sensor_scan(1), 6);
  EXPECT_EQ(host.dispatcher.create_sensor_instance(1, wrap(sensor_named("quick"))), 5);
  go_on.count_down();
  EXPECT_EQ(scan.get(), 0);
  EXPECT_EQ(removals[0].get() + removals[1].get(), 0 + 6);
  EXPECT_EQ(host.dispatcher.create_sensor_instance(1, wrap(sensor_named("quick"))), 0);
}

TEST(dispatcher_concurrency, a_sensor_that_is_being_built_holds_its_id_and_nobody_up) {
  recording_host host;
  std::latch inside(1), go_on(1), added(1), go_home(1);
  scripted_sensor::offer(
      host, "slow to build", [](scripted_sensor&) {},
      [&](scripted_sensor&) {
        inside.count_down();
        go_on.wait();
      });
  scripted_sensor::offer(host, "quick", [](scripted_sensor&) {});
  host.dispatcher.register_sensor(
      "lingers", [&](const auto& context, lib::module::sensor_stock& stock, const auto& data) {
        stock.add_sensor(context.id,
                         std::make_shared<scripted_sensor>(context, data, nullptr, nullptr));
        added.count_down();
        go_home.wait();
      });
  const auto create = [&](const char* kind) {
    return std::async(std::launch::async, [&host, kind] {
      return host.dispatcher.create_sensor_instance(1, wrap(sensor_named(kind)));
    });
  };
  // A creation whose sensor has gone before it returns has no say in who has the id then.
  auto earlier = create("lingers");
  added.wait();
  EXPECT_EQ(host.dispatcher.destroy_sensor_instance(1), 0);
  auto creation = create("slow to build");
  inside.wait();
  go_home.count_down();
  EXPECT_EQ(earlier.get(), 0);

  EXPECT_EQ(host.dispatcher.create_sensor_instance(1, wrap(sensor_named("quick"))), 5);
  EXPECT_EQ(host.dispatcher.destroy_sensor_instance(1), 6);
  EXPECT_EQ(host.dispatcher.execute_sensor_scan(1), 6);
  EXPECT_EQ(host.dispatcher.create_sensor_instance(2, wrap(sensor_named("quick"))), 0);
  EXPECT_EQ(host.dispatcher.execute_sensor_scan(2), 0);
  go_on.count_down();
  EXPECT_EQ(creation.get(), 0);
  EXPECT_EQ(host.dispatcher.execute_sensor_scan(1), 0);
}

TEST(dispatcher_concurrency, scans_never_overlap_while_sensors_come_and_go) {
  recording_host host;
  // Not synchronised on purpose: ThreadSanitizer sees two scans of one sensor that overlap, too.
  int inside[4] = {};
  scripted_sensor::offer(host, "alone", [&](scripted_sensor& sensor) {
    int& own = inside[sensor.id()];
    EXPECT_EQ(++own, 1);
    sensor.send(sensor.make_result());
    std::this_thread::yield();  // to those who wait for this sensor, its end among them
    --own;
  });
  std::vector<std::jthread> threads;
  for (unsigned int seed = 1; seed <= 4; ++seed) {
    threads.emplace_back([&host, random = std::minstd_rand(seed)]() mutable {
      const auto data = wrap(sensor_named("alone"));
      for (int i = 0; i < 400; ++i) {
        const auto id = static_cast<std::int32_t>(random() % 4);
        switch (random() % 8) {
          case 0:
            host.dispatcher.destroy_sensor_instance(id);
            break;
          case 1:
            host.dispatcher.create_sensor_instance(id, data);
            break;
          default:
            host.dispatcher.execute_sensor_scan(id);
        }
      }
    });
  }
}

TEST(dispatcher_concurrency, the_end_destroys_slow_sensors_side_by_side) {
  std::latch all_leaving(10);
  {
    recording_host host;
    struct leaver : scripted_sensor {
      using scripted_sensor::scripted_sensor;
      ~leaver() override { leaving->arrive_and_wait(); }
      std::latch* leaving = nullptr;
    };
    host.dispatcher.register_sensor(
        "leaver", [&](const auto& context, lib::module::sensor_stock& stock, const auto& data) {
          const auto sensor = std::make_shared<leaver>(context, data, nullptr, nullptr);
          sensor->leaving = &all_leaving;
          stock.add_sensor(context.id, sensor);
        });
    for (int id = 0; id < 10; ++id) {
      host.dispatcher.create_sensor_instance(id, wrap(sensor_named("leaver")));
    }
  }
  EXPECT_TRUE(all_leaving.try_wait());
}

}  // namespace
}  // namespace kavu_test
